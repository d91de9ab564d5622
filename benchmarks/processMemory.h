// How much memory a job took at its highest.
#pragma once

#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

/// A figure of the process in bytes, such as "VmRSS:".
inline long status_bytes(const char* field) {
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);)
        if (line.rfind(field, 0) == 0)
            return std::strtol(line.c_str() + std::strlen(field), nullptr, 10) * 1024;
    return 0;
}

/// Runs the job; gives the bytes that the process gained at its highest.
template <class Job>
double peak_of(Job job) {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";
    const long before = status_bytes("VmRSS:");
    job();
    return static_cast<double>(status_bytes("VmHWM:") - before);
}
