// One-word helpers over the reader.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tarnwillow/platform/status.h"
#include "tarnwillow/xml/CXMLParser.h"

namespace tarnwillow::test {

inline long load(CXMLParser& parser, std::u16string_view text) {
    return parser.Initialize(text.data(), static_cast<int>(text.size()));
}

/// Status of reading a text as a document.
inline long status_of(std::u16string_view text) {
    CXMLParser parser;
    return load(parser, text);
}

/// A parser that stands on the document element.
inline std::unique_ptr<CXMLParser> parsed(std::u16string_view text) {
    auto parser = std::make_unique<CXMLParser>();
    if (load(*parser, text) == S_OK) parser->Move_To_Child(nullptr);
    return parser;
}

inline std::u16string name_of(CXMLParser& parser) {
    char16_t name[256];
    return parser.Get_Current_Node(name) == S_OK ? name : u"<none>";
}

inline std::u16string data_of(CXMLParser& parser) {
    void* data = nullptr;
    int length = 0;
    if (parser.Get_Current_Node_Raw_Data(&data, &length) != S_OK) return u"<none>";
    if (data == nullptr) return u"<null>";
    return {static_cast<char16_t*>(data), static_cast<std::size_t>(length)};
}

inline std::u16string attribute_of(CXMLParser& parser, const std::u16string& name) {
    char16_t value[512];
    int size = 511;
    if (parser.Get_Current_Node_Attribute(name.c_str(), value, &size) != S_OK) return u"<none>";
    return value;
}

/// Names of the current element and of what is below it, as "a(b(c)d)".
inline std::u16string outline(CXMLParser& parser) {
    std::u16string text = name_of(parser);
    if (parser.Move_To_Child(nullptr) != S_OK) return text;
    text += u'(';
    do {
        if (text.back() != u'(') text += u' ';
        text += outline(parser);
    } while (parser.Move_To_Sibling(nullptr) == S_OK);
    parser.Move_To_Parent();
    return text + u')';
}

}  // namespace tarnwillow::test
