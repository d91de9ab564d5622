#include "tableCommand.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "command.h"
#include "tarnwillow/crossprocess/CIPCSharedTable.h"

namespace tarnwillow::cli {

namespace {

constexpr int kAtoms = 256;
constexpr int kDataSize = 512;
constexpr int kPerLine = 16;

struct Atom {
    long type;
    long id;
    char data[kDataSize];

    /// Up to the last byte that is not zero.
    int length() const {
        int length = kDataSize;
        while (length > 0 && data[length - 1] == 0)
            --length;
        return length;
    }
};

bool load(CIPCSharedTable& table, long index, Atom* atom) {
    return table.Get_Atom_Key(index, &atom->type, &atom->id) &&
           table.Get_Atom_Data(index, atom->data, kDataSize);
}

bool read_number(char const* text, long* number) {
    char* end = nullptr;
    errno = 0;
    *number = std::strtol(text, &end, 0);
    return errno == 0 && end != text && *end == 0 && *number == static_cast<std::int32_t>(*number);
}

int failed(char const* name, char const* why) {
    std::fprintf(stderr, "tarnwillow: table %s: %s\n", name, why);
    return 1;
}

int print_line(long index, const Atom& atom) {
    const int length = atom.length();
    std::printf("%ld\ttype %ld\tid %ld\t%d bytes\t", index, atom.type, atom.id, length);
    for (int i = 0; i < length; ++i)
        std::putchar(std::isprint(static_cast<unsigned char>(atom.data[i])) ? atom.data[i] : '.');
    std::putchar('\n');
    return 0;
}

int print_dump(long index, const Atom& atom) {
    std::printf("%ld\ttype %ld\tid %ld\n", index, atom.type, atom.id);
    for (int at = 0; at < atom.length(); at += kPerLine) {
        std::printf("  %03x ", static_cast<unsigned>(at));
        for (int i = at; i < at + kPerLine; ++i)
            std::printf(" %02x", static_cast<unsigned>(static_cast<unsigned char>(atom.data[i])));
        std::putchar('\n');
    }
    return 0;
}

int for_each(CIPCSharedTable& table, int (*print)(long index, const Atom& atom)) {
    Atom atom;
    for (long index = 0; index < kAtoms; ++index)
        if (load(table, index, &atom)) print(index, atom);
    return 0;
}

int list(CIPCSharedTable& table, char**) { return for_each(table, print_line); }
int dump(CIPCSharedTable& table, char**) { return for_each(table, print_dump); }

/// The whole atom, so that nothing of longer data stays behind the text.
int set(CIPCSharedTable& table, char** argv) {
    long type = 0, id = 0;
    if (!read_number(argv[0], &type) || !read_number(argv[1], &id)) return kWrongUse;
    char data[kDataSize] = {};
    if (std::strlen(argv[2]) > sizeof data)
        return failed(table.Get_Table_Name(), "the text is longer than 512 bytes");
    std::memcpy(data, argv[2], std::strlen(argv[2]));
    if (table.Set_Atom_Data(type, id, data, sizeof data, true)) return 0;
    return failed(table.Get_Table_Name(), "full");
}

int remove(CIPCSharedTable& table, char** argv) {
    long type = 0, id = 0;
    if (!read_number(argv[0], &type) || !read_number(argv[1], &id)) return kWrongUse;
    return table.Delete_Atom(type, id) ? 0 : failed(table.Get_Table_Name(), "no such atom");
}

int hold(CIPCSharedTable&, char**) {
    while (std::getchar() != EOF) {
    }
    return 0;
}

struct Action {
    char const* name;
    int arguments;         // behind the table's name
    bool makes_the_table;  // without another user
    int (*run)(CIPCSharedTable& table, char** argv);
};

constexpr Action kActions[] = {{"list", 0, false, list},
                               {"dump", 0, false, dump},
                               {"set", 3, false, set},
                               {"delete", 2, false, remove},
                               {"hold", 0, true, hold}};

int run(const Action& action, char const* name, char** argv) {
    CIPCSharedTable table;
    try {
        if (table.Initialize(name) != 0) return failed(name, "it cannot be reached");
    } catch (long) {
        return failed(name, "no memory can be shared");
    }
    if (table.Made_Table() && !action.makes_the_table) return failed(name, "no process uses it");
    return action.run(table, argv);
}

}  // namespace

int table_command(int argc, char** argv) {
    for (const Action& action : kActions)
        if (argc == 2 + action.arguments && std::strcmp(argv[0], action.name) == 0)
            return run(action, argv[1], argv + 2);
    return kWrongUse;
}

}  // namespace tarnwillow::cli
