#include "settingsCommand.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "command.h"
#include "settingsFile.h"
#include "settingsText.h"
#include "statusWords.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::cli {

namespace {

int wrong(const std::string& why) {
    std::fprintf(stderr, "tarnwillow: settings: %s\n", why.c_str());
    return 1;
}

/// What stands behind the verb.
struct Arguments {
    std::vector<std::string> plain;
    bool key = false;  // --key
    std::string type;  // --type
    bool has_name = false;
    std::string name;  // --name

    bool parse(int argc, char** argv) {
        for (int i = 0; i < argc; ++i) {
            const std::string_view argument = argv[i];
            if (argument == "--") {
                plain.insert(plain.end(), argv + i + 1, argv + argc);
                return true;
            }
            if (argument == "--key") {
                key = true;
            } else if (argument == "--type" || argument == "--name") {
                if (++i == argc) return false;
                has_name |= argument == "--name";
                (argument == "--type" ? type : name) = argv[i];
            } else if (argument.substr(0, 2) == "--") {
                return false;
            } else {
                plain.emplace_back(argument);
            }
        }
        return true;
    }

    /// The value that the first argument and --name mean.
    SettingsPlace value(std::string* found) const {
        if (!has_name) return parse_value(plain[0], found);
        *found = name;
        return parse_key(plain[0]);
    }
    SettingsPlace first_key() const { return parse_key(plain.empty() ? "" : plain[0]); }
};

int finished() { return std::fflush(stdout) == 0 ? 0 : wrong("the output could not be written"); }

// list

int list(const Arguments& arguments) {
    const SettingsPlace place = arguments.first_key();
    SettingsKey key;
    const long error = key.open(place.root, place.key);
    if (error != S_OK) return settings_failed(place.text(), error);
    for (const std::string& name : read_subkeys(key.get()))
        std::printf("%s\n", heading(name).c_str());
    for (const SettingsEntry& entry : read_entries(key.get()))
        std::printf("%s\n", entry_line(entry).c_str());
    return finished();
}

// get

// Texts are printed one a line.
void print_texts(std::string text) {
    while (!text.empty() && text.back() == 0)
        text.pop_back();
    for (char& c : text)
        if (c == 0) c = '\n';
    std::printf("%s\n", text.c_str());
}

void print_value(const SettingsEntry& entry) {
    const bool is_text =
        entry.type == REG_SZ || entry.type == REG_EXPAND_SZ || entry.type == REG_MULTI_SZ;
    if (is_text) return print_texts(entry.wide ? narrow_bytes(entry.bytes) : entry.bytes);
    const bool is_number = entry.type == REG_DWORD && entry.bytes.size() == sizeof(std::int32_t);
    const std::string form =
        is_number ? value_form(entry).substr(std::strlen("number ")) : hexadecimal(entry.bytes);
    std::printf("%s\n", form.c_str());
}

int get(const Arguments& arguments) {
    if (arguments.plain.size() != 1) return kWrongUse;
    SettingsEntry entry;
    std::string name;
    const SettingsPlace place = arguments.value(&name);
    SettingsKey key;
    long error = key.open(place.root, place.key);
    if (error == S_OK) error = read_entry(key.get(), name, &entry);
    if (error != S_OK) return settings_failed(place.below(name), error);
    print_value(entry);
    return finished();
}

// set

// As what a value is written: what --type says, else what stands there, else what it looks like.
bool choose_type(const Arguments& arguments, HKEY key, SettingsEntry* entry) {
    if (!arguments.type.empty()) return parse_type(arguments.type, &entry->type);
    SettingsEntry old;
    std::uint32_t number = 0;
    if (read_entry(key, entry->name, &old) == S_OK)
        entry->type = old.type;
    else
        entry->type = arguments.plain.size() == 2 && parse_number(arguments.plain[1], &number)
                          ? REG_DWORD
                          : REG_SZ;
    return true;
}

bool make_texts(const Arguments& arguments, std::string* bytes) {
    for (std::size_t i = 1; i < arguments.plain.size(); ++i)
        (*bytes += arguments.plain[i]) += '\0';
    *bytes += '\0';
    return true;
}

bool make_bytes(const Arguments& arguments, SettingsEntry* entry) {
    if (entry->type == REG_MULTI_SZ) return make_texts(arguments, &entry->bytes);
    if (arguments.plain.size() != 2) return false;
    const std::string& text = arguments.plain[1];
    if (entry->type == REG_SZ || entry->type == REG_EXPAND_SZ) {
        entry->bytes = text + '\0';
        return true;
    }
    if (entry->type != REG_DWORD) return parse_hexadecimal(text, &entry->bytes);
    std::uint32_t number = 0;
    if (!parse_number(text, &number)) return false;
    entry->bytes.assign(reinterpret_cast<char const*>(&number), sizeof number);
    return true;
}

int set(const Arguments& arguments) {
    if (arguments.plain.size() < 2) return kWrongUse;
    SettingsEntry entry;
    const SettingsPlace place = arguments.value(&entry.name);
    SettingsKey existing, key;
    existing.open(place.root, place.key);
    if (!choose_type(arguments, existing.get(), &entry))
        return wrong(arguments.type + " is no type");
    if (!make_bytes(arguments, &entry))
        return wrong(place.below(entry.name) + ": no value of that type");
    long error = key.create(place.root, place.key);
    if (error == S_OK) error = write_entry(key.get(), entry);
    return error == S_OK ? 0 : settings_failed(place.below(entry.name), error);
}

// delete

int remove_key(const Arguments& arguments) {
    const SettingsPlace place = parse_key(arguments.plain[0]);
    const long error = SHDeleteKeyA(place.root, place.key.c_str());
    return error == S_OK ? 0 : settings_failed(place.text(), error);
}

int remove_setting(const Arguments& arguments) {
    if (arguments.plain.size() != 1) return kWrongUse;
    if (arguments.key) return remove_key(arguments);
    std::string name;
    const SettingsPlace place = arguments.value(&name);
    SettingsKey key;
    long error = key.open(place.root, place.key);
    if (error == S_OK) error = RegDeleteValueA(key.get(), name.c_str());
    return error == S_OK ? 0 : settings_failed(place.below(name), error);
}

int import_file(const Arguments& arguments) {
    return import_settings(arguments.plain.empty() ? "-" : arguments.plain[0].c_str());
}

struct Verb {
    char const* name;
    int (*run)(const Arguments& arguments);
    std::size_t most_arguments;
};

constexpr std::size_t kAnyNumber = 1000;

const Verb kVerbs[] = {
    {"list", list, 1},
    {"get", get, 1},
    {"set", set, kAnyNumber},
    {"delete", remove_setting, 1},
    {"export", [](const Arguments& a) { return export_settings(a.first_key()); }, 1},
    {"import", import_file, 1},
    {"watch", [](const Arguments& a) { return watch_settings(a.first_key()); }, 1},
};

}  // namespace

int settings_failed(const std::string& where, long error) {
    if (error == ERROR_FILE_NOT_FOUND) return wrong(where + ": there is nothing of that name");
    return wrong(where + ": " + status_words(error));
}

int settings_command(int argc, char** argv) {
    Arguments arguments;
    if (argc < 1 || !arguments.parse(argc - 1, argv + 1)) return kWrongUse;
    for (const Verb& verb : kVerbs)
        if (std::strcmp(argv[0], verb.name) == 0)
            return arguments.plain.size() <= verb.most_arguments ? verb.run(arguments) : kWrongUse;
    return kWrongUse;
}

}  // namespace tarnwillow::cli
