// What the XML reader keeps of a document, beside the tree: the text, and a record for each element
// that says where in the text its parts lie.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>

#include "tarnwillow/containers/blockArena.h"

namespace tarnwillow::detail {

/// Longest texts that a record stands for. Callers have room for one more, the terminator.
inline constexpr std::size_t kNameLimit = 255;
inline constexpr std::size_t kValueLimit = 511;

/// NULs behind the text: searches may look that far beyond its end.
inline constexpr std::size_t kTextMargin = 64;

/// Name and value are places in the text, or, with kApart set, in the text that is kept apart.
struct XmlAttribute {
    std::uint32_t name;
    std::uint32_t value;
    std::uint16_t name_length;
    std::uint16_t value_length;
};
static_assert(sizeof(XmlAttribute) == 12);

/// Offsets are characters from the start of the prepared text.
struct XmlElement {
    XmlAttribute* attributes;  ///< in document order
    std::uint32_t attribute_count;
    std::uint32_t name;
    std::uint32_t name_length;
    std::uint32_t data;  ///< behind the start tag; 0, where no data can lie, for a self-closed one
    std::uint32_t data_length;
};

/// Every allocation gives null, or false, without memory.
class XmlRecords {
public:
    XmlRecords() = default;
    ~XmlRecords();
    XmlRecords(const XmlRecords&) = delete;
    XmlRecords& operator=(const XmlRecords&) = delete;

    /// Room for the text and kTextMargin characters behind it, with undefined content. Called once.
    char16_t* make_text(std::size_t length);

    /// A blank record.
    XmlElement* add_element() {
        void* memory = elements_.take(sizeof(XmlElement));
        return memory != nullptr ? new (memory) XmlElement{} : nullptr;
    }

    /// Adds to the element that was added last.
    bool add_attribute(XmlElement& element, const XmlAttribute& attribute) {
        const std::uint32_t count = element.attribute_count;
        const bool in_place =
            count > 0 && attributes_.extend(element.attributes + count, sizeof attribute);
        if (!in_place && !move_attributes(element)) return false;
        element.attributes[count] = attribute;
        element.attribute_count = count + 1;
        return true;
    }

    /// Keeps a text apart that does not stand in the document in one piece, and stores where.
    bool keep_apart(std::u16string_view text, std::uint32_t* place);

    /// Bytes of all records and of the text that is kept apart.
    std::size_t bytes() const {
        return elements_.taken() + attributes_.taken() + apart_length_ * sizeof(char16_t);
    }

    /// The text at a place; `document` is the start of the prepared text.
    std::u16string_view at(char16_t const* document, std::uint32_t place, std::size_t length) const;

private:
    static constexpr std::uint32_t kApart = 0x80000000;

    bool move_attributes(XmlElement& element);
    bool grow_apart(std::size_t length);

    char16_t* text_ = nullptr;
    std::size_t text_bytes_ = 0;
    BlockArena elements_;
    BlockArena attributes_;
    char16_t* apart_ = nullptr;
    std::size_t apart_length_ = 0;
    std::size_t apart_room_ = 0;
};

}  // namespace tarnwillow::detail
