// Any bytes as a UTF-16 document: it loads or not, and what has been loaded can be walked and read.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tarnwillow/xml/CXMLParser.h"

namespace {

void read_element(tarnwillow::CXMLParser& parser) {
    char16_t name[256];
    char16_t value[512];
    void* data = nullptr;
    int length = 0;
    if (parser.Get_Current_Node(name) != 0) std::abort();
    if (parser.Get_Current_Node_Raw_Data(&data, &length) != 0) std::abort();
    std::u16string copy(static_cast<std::size_t>(length) + 1, u'\0');
    if (parser.Get_Current_Node_Data_String(copy.data(), length + 1, true) != 0) std::abort();
    if (parser.Get_Current_Node_Data(copy.data(), &length, true) != 0) std::abort();
    for (int i = 0; parser.Get_Current_Node_Attribute_At(i, name, value) == 0; ++i) {
        int room = 511;
        if (parser.Get_Current_Node_Attribute(name, value, &room) != 0) std::abort();
    }
}

// Copies are long where elements that never end are nested: the first elements show enough.
void walk(tarnwillow::CXMLParser& parser) {
    int depth = 0;
    for (int elements = 0; elements < 10000; ++elements) {
        read_element(parser);
        if (parser.Move_To_Child(nullptr) == 0) {
            ++depth;
            continue;
        }
        while (parser.Move_To_Sibling(nullptr) != 0) {
            if (depth-- == 0) return;
            parser.Move_To_Parent();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::u16string text(reinterpret_cast<char16_t const*>(bytes), size / 2);
    tarnwillow::CXMLParser parser;
    parser.Initialize(text.data(), static_cast<int>(text.size()));
    if (parser.Move_To_Child(nullptr) == 0) walk(parser);
    return 0;
}
