#include "xmlCommand.h"

#include <cstdio>
#include <string>
#include <string_view>

#include "command.h"
#include "statusWords.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"
#include "textOutput.h"
#include "xmlDocument.h"

namespace tarnwillow::cli {

namespace {

using wide::trimmed;

// On one line: what a line end and the white space behind it part is parted by one space.
void write_line(TextOutput& out, std::u16string_view text) {
    text = trimmed(text);
    for (;;) {
        const std::size_t end = text.find_first_of(u"\r\n");
        out.write(text.substr(0, end));
        if (end == std::u16string_view::npos) return;
        out.write(u" ");
        text = trimmed(text.substr(end));
    }
}

std::u16string_view data_of(CXMLParser& parser) {
    void* data = nullptr;
    int length = 0;
    parser.Get_Current_Node_Raw_Data(&data, &length);
    return {static_cast<char16_t const*>(data), static_cast<std::size_t>(length)};
}

// The reader leaves the line end in front of an attribute in its name: so names are trimmed here.
struct Attribute {
    char16_t name[256];
    char16_t value[512];

    bool load(CXMLParser& parser, int index) {
        return parser.Get_Current_Node_Attribute_At(index, name, value) == S_OK;
    }
    std::u16string_view trimmed_name() const { return trimmed(name); }
};

void write_attributes(TextOutput& out, CXMLParser& parser) {
    Attribute attribute;
    for (int i = 0; attribute.load(parser, i); ++i) {
        out.write(u" ");
        out.write(attribute.trimmed_name());
        out.write(u"=\"");
        write_line(out, attribute.value);
        out.write(u"\"");
    }
}

void write_element(TextOutput& out, CXMLParser& parser, int depth) {
    char16_t name[256];
    if (parser.Get_Current_Node(name) != S_OK) return;
    for (int i = 0; i < depth; ++i)
        out.write(u"  ");
    out.write(name);
    write_attributes(out, parser);
    const std::u16string_view data = trimmed(data_of(parser));
    if (!data.empty() && !parser.Current_Node_Has_Children()) {
        out.write(u": ");
        write_line(out, data);
    }
    out.end_line();
}

void write_tree(TextOutput& out, CXMLParser& parser) {
    int depth = 0;
    for (;;) {
        write_element(out, parser, depth);
        if (parser.Move_To_Child(nullptr) == S_OK) {
            ++depth;
            continue;
        }
        while (parser.Move_To_Sibling(nullptr) != S_OK) {
            if (depth == 0) return;
            parser.Move_To_Parent();
            --depth;
        }
    }
}

int failed(char const* file, long result) {
    std::fprintf(stderr, "tarnwillow: %s: %s\n", file, status_words(result).c_str());
    return 1;
}

int finished(char const* file, TextOutput& out) {
    if (out.finish()) return 0;
    std::fprintf(stderr, "tarnwillow: %s: the output could not be written\n", file);
    return 1;
}

bool same_name(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (wide::to_lower(a[i]) != wide::to_lower(b[i])) return false;
    return true;
}

long write_attribute(TextOutput& out, CXMLParser& parser, std::u16string_view name) {
    Attribute attribute;
    for (int i = 0; attribute.load(parser, i); ++i) {
        if (!same_name(attribute.trimmed_name(), name)) continue;
        out.write(attribute.value);
        out.end_line();
        return S_OK;
    }
    return ERROR_NOT_FOUND;
}

// From the root on, step by step.
long write_value(TextOutput& out, CXMLParser& parser, std::u16string_view path) {
    while (!path.empty() && path.front() != u'@') {
        const std::size_t end = path.find(u'/');
        const std::u16string name(path.substr(0, end));
        if (parser.Move_To_Child(name.c_str()) != S_OK) return ERROR_NOT_FOUND;
        path = end == std::u16string_view::npos ? std::u16string_view() : path.substr(end + 1);
    }
    if (!path.empty()) return write_attribute(out, parser, path.substr(1));
    out.write(trimmed(data_of(parser)));
    out.end_line();
    return S_OK;
}

/// Whether a path has the form a/b/@c: names of elements, the document element's first, and at the
/// end an attribute's if wanted.
bool is_path(char const* path) {
    std::string_view rest = path;
    for (bool first = true;; first = false) {
        const std::size_t end = rest.find('/');
        const bool last = end == std::string_view::npos;
        const std::string_view step = rest.substr(0, end);
        if (step.empty() || step == "@" || (step[0] == '@' && (first || !last))) return false;
        if (last) return true;
        rest.remove_prefix(end + 1);
    }
}

/// False after one line on standard error.
bool open_document(char const* source, std::unique_ptr<CXMLParser>* parser) {
    std::string reason;
    const long result = read_document(source, parser, &reason);
    if (result == S_OK) return true;
    if (reason.empty())
        failed(source, result);
    else
        std::fprintf(stderr, "tarnwillow: %s: %s\n", source, reason.c_str());
    return false;
}

int print_tree(char const* source) {
    std::unique_ptr<CXMLParser> parser;
    if (!open_document(source, &parser)) return 1;
    const long result = parser->Move_To_Child(nullptr);
    if (result != S_OK) return failed(source, result);
    TextOutput out;
    write_tree(out, *parser);
    return finished(source, out);
}

int print_value(char const* source, char const* path) {
    std::unique_ptr<CXMLParser> parser;
    if (!open_document(source, &parser)) return 1;
    TextOutput out;
    const long result = write_value(out, *parser, to_wide(path));
    return result == S_OK ? finished(source, out) : failed(source, result);
}

}  // namespace

int xml_command(int argc, char** argv) {
    if (argc == 1) return print_tree(argv[0]);
    return argc == 2 && is_path(argv[1]) ? print_value(argv[0], argv[1]) : kWrongUse;
}

}  // namespace tarnwillow::cli
