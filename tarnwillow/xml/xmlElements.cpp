// Loading the elements: start tags, content and closing tags.
//
// The reader keeps no stack of its own: where it is, the tree says. The element being read is the
// one at `position`, and closing it leads to the parent.
#include <cstring>

#include "tarnwillow/containers/CSimpleTreeInner.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/unitScan.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/xml/CXMLParser.h"
#include "tarnwillow/xml/xmlRecords.h"

namespace tarnwillow {

namespace {

constexpr int kDepthLimit = 256;

/// Characters that may be read a second time because closing tags are missing. A document that
/// closes its tags reads none of them twice.
long long reading_allowance(std::int32_t length) { return 63LL * length + 65536; }

bool ends_name(char16_t c) { return c == u'\0' || c == u'>' || c == u'/' || wide::is_space(c); }

detail::XmlElement& element_at(const detail::TreeNode* node) {
    return *static_cast<detail::XmlElement*>(node->data);
}

}  // namespace

long CXMLParser::Load_Node() {
    detail::TreeNode* const base = static_cast<detail::TreeNode*>(Cursor->Get_Node());
    position = base;
    depth = 0;
    long result = open_element();
    while (result == S_OK && position != base)
        result = read_content();
    return result;
}

// An element with content becomes the position; one that closed itself does not.
long CXMLParser::open_element() {
    if (depth == kDepthLimit) return E_INVALIDARG;
    detail::XmlElement* const element = Nodes->add_element();
    if (element == nullptr) return E_OUTOFMEMORY;
    auto& nodes = static_cast<detail::CSimpleTreeInner*>(Tree)->nodes();
    detail::TreeNode* const node = nodes.append(position, element, sizeof *element);
    if (node == nullptr) return E_OUTOFMEMORY;
    bool self_closed = false;
    const long result = read_start_tag(*element, &self_closed);
    if (result != S_OK || self_closed) return result;
    element->data = static_cast<std::uint32_t>(Offset);
    position = node;
    ++depth;
    return S_OK;
}

long CXMLParser::read_start_tag(detail::XmlElement& element, bool* self_closed) {
    if (!read_name(element)) return E_INVALIDARG;
    const char16_t end = Next_Char();
    if (end == u'/') {  // whatever stands behind it is taken for the ">"
        Next_Char();
        *self_closed = true;
    } else if (wide::is_space(end)) {
        const long result = read_attributes(element, self_closed);
        if (result != S_OK) {
            element.attribute_count = 0;
            return result;
        }
    }
    return *self_closed || Offset < Text_Length ? S_OK : E_INVALIDARG;
}

// Ends in front of the character that ends the name. A name that is too long is cut, and fails.
bool CXMLParser::read_name(detail::XmlElement& element) {
    char16_t const* const begin = Text + Offset;
    char16_t const* const text_end = Text + Text_Length;
    char16_t const* const end =
        text_end - begin > static_cast<std::ptrdiff_t>(detail::kNameLimit) + 1
            ? begin + detail::kNameLimit + 1
            : text_end;
    char16_t const* at = begin;
    while ((at = scan::find_low_or(at, end, u' ', u'/', u'>')) != end && !ends_name(*at))
        ++at;
    const auto length = static_cast<std::uint32_t>(at - begin);
    element.name = static_cast<std::uint32_t>(Offset);
    element.name_length = length <= detail::kNameLimit ? length : detail::kNameLimit;
    Offset += static_cast<std::int32_t>(length);
    return length <= detail::kNameLimit;
}

// Reads on in the current element until a child has been opened or the element has ended.
long CXMLParser::read_content() {
    detail::XmlElement& element = element_at(position);
    char16_t const* const end = Text + Text_Length;
    for (;;) {
        char16_t const* const at = scan::find_either(Text + Offset, end, u'<', u'\0');
        Offset = static_cast<std::int32_t>(at - Text);
        if (Next_Char() != u'<') return end_without_tag(element);
        if (Next_Char() != u'/') {
            Previous_Char();
            return open_element();
        }
        if (!read_closing_tag(element)) continue;
        element.data_length = static_cast<std::uint32_t>(at - Text) - element.data;
        close_element();
        return S_OK;
    }
}

// Reads from behind "</". Without a match, what was looked at is text that has been read.
bool CXMLParser::read_closing_tag(const detail::XmlElement& element) {
    char16_t const* const name = Text + element.name;
    for (std::uint32_t i = 0; i < element.name_length; ++i)
        if (Next_Char() != name[i]) return false;
    return Next_Char() == u'>';
}

// The element has no data, and its parent reads on one character behind the start of its content.
long CXMLParser::end_without_tag(const detail::XmlElement& element) {
    const auto start = static_cast<std::int32_t>(element.data) + 1;
    read_again += Offset - start;
    Offset = start;
    close_element();
    return read_again <= reading_allowance(Text_Length) ? S_OK : E_INVALIDARG;
}

void CXMLParser::close_element() {
    position = position->parent;
    --depth;
}

}  // namespace tarnwillow
