// Start tags, content and closing tags.
#include "tarnwillow/xml/xmlReader.h"

#include <algorithm>

#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/unitScan.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::detail {

using namespace std::string_view_literals;

namespace {

constexpr int kDepthLimit = 256;

/// How much of what was read may be read again. A document that closes its tags reads nothing
/// twice; one that does not could otherwise take time that doubles with each level.
long long reading_allowance(long long length) { return 63 * length + 65536; }

/// And how much memory its records may take then: several times what the densest document needs
/// that is read once.
std::size_t record_allowance(long long length) {
    return 32 * static_cast<std::size_t>(length) + (std::size_t{4} << 20);
}

constexpr scan::LowUnits kNameEnds(u">/ \t\r\n\0"sv);

}  // namespace

XmlReader::XmlReader(std::u16string_view text, std::int32_t offset, XmlRecords& records,
                     TreeNodes& nodes, TreeNode* parent)
    : text_(text.data()),
      end_(text.data() + text.size()),
      at_(text_ + offset),
      records_(records),
      nodes_(nodes),
      position_(parent) {}

// All that an ordinary element takes is made one piece of code: the calls cost a fifth of the time.
[[gnu::flatten]] long XmlReader::read_element() {
    TreeNode const* const parent = position_;
    long result = open_element();
    while (result == S_OK && position_ != parent)
        result = read_content();
    return result;
}

// An element with content becomes the position; one that closed itself does not.
long XmlReader::open_element() {
    if (depth_ == kDepthLimit) return E_INVALIDARG;
    XmlElement* const element = records_.add_element();
    if (element == nullptr) return E_OUTOFMEMORY;
    TreeNode* const node = nodes_.append(position_, element, sizeof *element);
    if (node == nullptr) return E_OUTOFMEMORY;
    bool self_closed = false;
    const long result = read_start_tag(*element, &self_closed);
    if (result != S_OK || self_closed) return result;
    element->data = place(at_);
    position_ = node;
    ++depth_;
    return S_OK;
}

// An element whose tag fails keeps its name but no attributes.
long XmlReader::read_start_tag(XmlElement& element, bool* self_closed) {
    if (!read_name(element)) return E_INVALIDARG;
    const char16_t behind_name = next();
    long result = S_OK;
    if (behind_name == u'/') {  // whatever stands behind it is taken for the ">"
        next();
        *self_closed = true;
    } else if (wide::is_space(behind_name)) {
        result = read_attributes(element, self_closed);
    }
    if (result == S_OK && !*self_closed && at_ == end_) result = E_INVALIDARG;
    if (result != S_OK) element.attribute_count = 0;
    return result;
}

// Stops at the character that ends the name. A name that is too long is kept cut, and false.
bool XmlReader::read_name(XmlElement& element) {
    char16_t const* const begin = at_;
    char16_t const* const limit = begin + std::min<std::ptrdiff_t>(end_ - begin, kNameLimit + 1);
    char16_t const* at = begin;
    while (at < limit && !kNameEnds.has(*at))
        ++at;
    at_ = at;
    const auto length = static_cast<std::size_t>(at - begin);
    element.name = place(begin);
    element.name_length = static_cast<std::uint32_t>(std::min(length, kNameLimit));
    return length <= kNameLimit;
}

// Reads on in the current element until a child has been opened or the element has ended.
long XmlReader::read_content() {
    XmlElement& element = *static_cast<XmlElement*>(position_->data);
    for (;;) {
        char16_t const* const found = scan::find_either(at_, end_, '<', '\0');
        at_ = found;
        if (next() != u'<') return end_without_tag(element);
        if (at_ == end_) --at_;  // looking behind the last character and back lands on it
        if (*at_ != u'/') return open_element();
        ++at_;
        if (!read_closing_tag(element)) continue;
        element.data_length = place(found) - element.data;
        close_element();
        return S_OK;
    }
}

// Reads from behind "</". Without a match, what was looked at counts as text that has been read.
bool XmlReader::read_closing_tag(const XmlElement& element) {
    char16_t const* const name = text_ + element.name;
    char16_t const* const limit = at_ + std::min<std::ptrdiff_t>(end_ - at_, element.name_length);
    const bool named = limit - at_ == element.name_length;
    at_ = scan::find_difference(at_, limit, name, end_);
    return next() == u'>' && named && at_ - 1 == limit;
}

// The element has no data, and its parent reads on one character behind the start of its content.
long XmlReader::end_without_tag(const XmlElement& element) {
    char16_t const* const start = text_ + element.data + 1;
    read_again_ += at_ - start;
    at_ = start;
    close_element();
    const std::ptrdiff_t length = end_ - text_;
    const bool allowed =
        read_again_ <= reading_allowance(length) && records_.bytes() <= record_allowance(length);
    return allowed ? S_OK : E_INVALIDARG;
}

void XmlReader::close_element() {
    position_ = position_->parent;
    --depth_;
}

}  // namespace tarnwillow::detail
