#include "logCommand.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "command.h"
#include "logTail.h"
#include "tarnwillow/diagnostics/logClasses.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::cli {

namespace {

using detail::log_class_rows;
using detail::LogClassRow;

constexpr char kKey[] = "Log";

// The names are ASCII.
std::string narrow_name(const LogClassRow& row) {
    const std::u16string_view name(row.name);
    return std::string(name.begin(), name.end());
}

bool same_name(const LogClassRow& row, std::string_view name) {
    const auto same = [](char a, char b) {
        return wide::to_lower(static_cast<unsigned char>(a)) ==
               wide::to_lower(static_cast<unsigned char>(b));
    };
    const std::string own = narrow_name(row);
    return std::equal(own.begin(), own.end(), name.begin(), name.end(), same);
}

LogClassRow const* find_class(char const* number_or_name) {
    char const* const end = number_or_name + std::strlen(number_or_name);
    int number = -1;
    const bool is_number = std::from_chars(number_or_name, end, number).ptr == end;
    for (const LogClassRow& row : log_class_rows)
        if (row.id >= 0 && (is_number ? row.id == number : same_name(row, number_or_name)))
            return &row;
    return nullptr;
}

// A store without the key, or a class without a value there, means the default.
int list_classes() {
    CRegistry store;
    store.Open_Application_Key_Ex(0, kKey, HKEY_LOCAL_MACHINE);
    for (const LogClassRow& row : log_class_rows) {
        if (row.id < 0) break;
        long value = row.enabled;
        store.Get_Entry(row.name, &value);
        std::printf("%2d  %-3s  %s\n", row.id, value != 0 ? "on" : "off", narrow_name(row).c_str());
    }
    return 0;
}

int switch_class(char const* number_or_name, bool on) {
    LogClassRow const* const row = find_class(number_or_name);
    if (row == nullptr) {
        std::fprintf(stderr, "tarnwillow: %s: no such log class; see \"tarnwillow log list\"\n",
                     number_or_name);
        return 1;
    }
    CRegistry store;
    if (store.Open_Application_Key(kKey, HKEY_LOCAL_MACHINE) && store.Set_Entry(row->name, on))
        return 0;
    std::fputs("tarnwillow: the settings store cannot be written\n", stderr);
    return 1;
}

}  // namespace

int log_command(int argc, char** argv) {
    const std::string word = argc > 0 ? argv[0] : "";
    if (argc == 1 && word == "list") return list_classes();
    if (argc == 1 && word == "tail") return tail_log();
    if (argc == 2 && (word == "on" || word == "off")) return switch_class(argv[1], word == "on");
    return kWrongUse;
}

}  // namespace tarnwillow::cli
