// Reads prepared text into records and tree nodes.
#pragma once

#include <cstdint>
#include <string_view>

#include "tarnwillow/containers/treeNodes.h"
#include "tarnwillow/xml/xmlRecords.h"

namespace tarnwillow::detail {

/// Keeps no stack of its own: where it is, the tree says. The element that is being read is the one
/// at the position, and its end leads to the parent.
///
/// A NUL in the text ends what is being read there like the end of the text.
class XmlReader {
public:
    /// Starts at `offset` in `text`, and adds below `parent`.
    XmlReader(std::u16string_view text, std::int32_t offset, XmlRecords& records, TreeNodes& nodes,
              TreeNode* parent);

    /// Reads one element and all in it, from behind its "<". S_OK, E_INVALIDARG, E_FAIL,
    /// E_OUTOFMEMORY.
    long read_element();

    /// Where the next character is.
    std::int32_t offset() const { return static_cast<std::int32_t>(place(at_)); }

private:
    struct PlainAttribute;
    struct OddAttribute;

    long open_element();
    long read_start_tag(XmlElement& element, bool* self_closed);
    bool read_name(XmlElement& element);
    long read_content();
    bool read_closing_tag(const XmlElement& element);
    long end_without_tag(const XmlElement& element);
    void close_element();

    long read_attributes(XmlElement& element, bool* self_closed);
    long read_plain_attributes(XmlElement& element);
    long store_plain_attribute(XmlElement& element, const PlainAttribute& found);
    bool read_tag_end(bool* self_closed);
    long read_odd_attribute(XmlElement& element, bool* self_closed, bool* ended);
    bool gather_quoted(OddAttribute& attribute, char16_t quote);
    long store_odd_attribute(XmlElement& element, const OddAttribute& attribute);

    char16_t next() { return at_ < end_ ? *at_++ : u'\0'; }
    std::uint32_t place(char16_t const* at) const { return static_cast<std::uint32_t>(at - text_); }

    char16_t const* const text_;
    char16_t const* const end_;
    char16_t const* at_;
    XmlRecords& records_;
    TreeNodes& nodes_;
    TreeNode* position_;
    int depth_ = 0;
    long long read_again_ = 0;  // characters that missing closing tags have had read again
};

}  // namespace tarnwillow::detail
