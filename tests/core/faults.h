// Procedures that fault, one for each way to go wrong.
#pragma once

#include <iosfwd>
#include <span>

struct Fault {
    char const* name;
    void (*run)();
    unsigned code;                     // signal number, or EXCEPTION_THROWN_VALUE
    bool only_without_address_checks;  // a sanitizer's own runtime would end the process first
};

std::span<const Fault> faults_at_O0();
std::span<const Fault> faults_at_O2();

/// For test names and messages.
void PrintTo(const Fault& fault, std::ostream* out);
