// Walking the loaded tree, and reading the element that the position stands on.
#include <algorithm>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/xml/CXMLParser.h"
#include "tarnwillow/xml/xmlRecords.h"

namespace tarnwillow {

namespace {

/// Room of the caller's, without the terminator, where no size is given.
constexpr int kDefaultRoom = 255;

long bad_pointer() { return E_INVALIDARG; }

// A NUL inside the text ends it, as it does in the caller's copy.
bool equals_ignoring_case(std::u16string_view text, char16_t const* other) {
    for (const char16_t c : text) {
        if (wide::to_lower(c) != wide::to_lower(*other)) return false;
        if (c == u'\0') return true;
        ++other;
    }
    return *other == u'\0';
}

// What a caller of a terminated text sees of it.
std::u16string_view up_to_nul(std::u16string_view text) { return text.substr(0, text.find(u'\0')); }

void copy_terminated(std::u16string_view text, char16_t* dest) {
    text.copy(dest, text.size());
    dest[text.size()] = u'\0';
}

}  // namespace

detail::XmlElement* CXMLParser::current_element() const {
    return Cursor != nullptr ? static_cast<detail::XmlElement*>(Cursor->Get_Data()) : nullptr;
}

std::u16string_view CXMLParser::text_of(std::uint32_t place, std::size_t length) const {
    return Nodes->at(Text, place, length);
}

long CXMLParser::Move_To_Root_Node() {
    if (Cursor != nullptr) Cursor->Move_To_Root();
    return S_OK;
}

long CXMLParser::Move_To_Parent() {
    if (Cursor != nullptr) Cursor->Move_To_Parent();
    return S_OK;
}

bool CXMLParser::Current_Node_Has_Children() { return Cursor != nullptr && Cursor->Has_Children(); }

// From the current element on along its siblings. The position is at the last one if none matches.
bool CXMLParser::find_named(char16_t const* name) {
    do {
        auto const* const element = current_element();
        if (element != nullptr &&
            equals_ignoring_case(text_of(element->name, element->name_length), name))
            return true;
    } while (Cursor->Move_To_Next_Sibling() != nullptr);
    return false;
}

long CXMLParser::Move_To_Child(char16_t const* name) {
    if (Cursor == nullptr || Cursor->Move_To_First_Child() == nullptr) return ERROR_NOT_FOUND;
    if (name == nullptr || find_named(name)) return S_OK;
    Cursor->Move_To_Parent();
    return ERROR_NOT_FOUND;
}

long CXMLParser::Move_To_Sibling(char16_t const* name) {
    if (Cursor == nullptr) return ERROR_NOT_FOUND;
    if (name == nullptr) return Cursor->Move_To_Next_Sibling() != nullptr ? S_OK : ERROR_NOT_FOUND;
    void* const before = Cursor->Get_Node();
    Cursor->Move_To_First_Sibling();
    if (find_named(name)) return S_OK;
    Cursor->Move_To_Node(before);
    return ERROR_NOT_FOUND;
}

long CXMLParser::Get_Current_Node(char16_t* name) {
    auto const* const element = current_element();
    if (element == nullptr) return ERROR_NOT_FOUND;
    if (name == nullptr) return E_INVALIDARG;
    const std::u16string_view text = text_of(element->name, element->name_length);
    return probe_guard([&] { return copy_terminated(text, name), S_OK; }, bad_pointer);
}

long CXMLParser::Get_Current_Node_Data(char16_t* dest, int* size, bool trim) {
    auto const* const element = current_element();
    if (element == nullptr) return ERROR_NOT_FOUND;
    if (size == nullptr) return E_INVALIDARG;
    const std::u16string_view whole = text_of(element->data, element->data_length);
    const auto length = static_cast<int>(whole.size());
    return probe_guard(
        [&] {
            const int room = *size;
            *size = length;
            if (dest == nullptr) return S_OK;
            if (room < length) return ERROR_INSUFFICIENT_BUFFER;
            const std::u16string_view text = trim ? wide::trimmed(whole) : whole;
            text.copy(dest, text.size());
            *size = static_cast<int>(text.size());
            return S_OK;
        },
        bad_pointer);
}

long CXMLParser::Get_Current_Node_Data_String(char16_t* dest, int size, bool trim) {
    auto const* const element = current_element();
    if (element == nullptr) return ERROR_NOT_FOUND;
    if (size <= static_cast<long long>(element->data_length)) return ERROR_INSUFFICIENT_BUFFER;
    if (dest == nullptr) return E_INVALIDARG;
    std::u16string_view text = text_of(element->data, element->data_length);
    if (trim) text = wide::trimmed(up_to_nul(text));
    return probe_guard([&] { return copy_terminated(text, dest), S_OK; }, bad_pointer);
}

long CXMLParser::Get_Current_Node_Raw_Data(void** data, int* length) {
    auto const* const element = current_element();
    if (element == nullptr) return ERROR_NOT_FOUND;
    if (data == nullptr) return E_INVALIDARG;
    return probe_guard(
        [&] {
            *data = element->data != 0 ? Text + element->data : nullptr;
            if (length != nullptr) *length = static_cast<int>(element->data_length);
            return S_OK;
        },
        bad_pointer);
}

detail::XmlAttribute const* CXMLParser::find_attribute(char16_t const* name) const {
    auto const* const element = current_element();
    for (std::uint32_t i = 0; i < element->attribute_count; ++i) {
        const detail::XmlAttribute& attribute = element->attributes[i];
        if (equals_ignoring_case(text_of(attribute.name, attribute.name_length), name))
            return &attribute;
    }
    return nullptr;
}

long CXMLParser::read_attribute(char16_t const* name, char16_t* dest, int* size) const {
    auto const* const element = current_element();
    if (element == nullptr || element->attribute_count == 0) {
        if (size != nullptr) *size = 0;
        return ERROR_NOT_FOUND;
    }
    if (name == nullptr) return E_INVALIDARG;
    const int room = size != nullptr ? *size : kDefaultRoom;
    detail::XmlAttribute const* const attribute = find_attribute(name);
    if (attribute == nullptr) return ERROR_NOT_FOUND;
    if (size != nullptr) *size = attribute->value_length;
    if (attribute->value_length > room) return ERROR_INSUFFICIENT_BUFFER;
    if (dest == nullptr) return E_INVALIDARG;
    copy_terminated(text_of(attribute->value, attribute->value_length), dest);
    return S_OK;
}

long CXMLParser::Get_Current_Node_Attribute(char16_t const* name, char16_t* dest, int* size) {
    return probe_guard([&] { return read_attribute(name, dest, size); }, bad_pointer);
}

long CXMLParser::Get_Current_Node_Attribute_At(int index, char16_t* name, char16_t* value) {
    auto const* const element = current_element();
    if (element == nullptr || index < 0 || index >= static_cast<long>(element->attribute_count))
        return ERROR_NOT_FOUND;
    if (name == nullptr || value == nullptr) return E_INVALIDARG;
    const detail::XmlAttribute& attribute = element->attributes[index];
    return probe_guard(
        [&] {
            copy_terminated(text_of(attribute.name, attribute.name_length), name);
            copy_terminated(text_of(attribute.value, attribute.value_length), value);
            return S_OK;
        },
        bad_pointer);
}

}  // namespace tarnwillow
