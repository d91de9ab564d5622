#include "tarnwillow/xml/xmlRecords.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "tarnwillow/platform/memoryBlock.h"

namespace tarnwillow::detail {

XmlRecords::~XmlRecords() {
    platform::free_block(text_, text_bytes_);
    ::operator delete(apart_);
}

char16_t* XmlRecords::make_text(std::size_t length) {
    text_bytes_ = (length + kTextMargin) * sizeof(char16_t);
    text_ = static_cast<char16_t*>(platform::allocate_block(text_bytes_));
    return text_;
}

// The attributes of an element lie side by side. Where they cannot grow in place, those found so
// far move to where there is room for one more.
bool XmlRecords::move_attributes(XmlElement& element) {
    const std::size_t present = element.attribute_count * sizeof(XmlAttribute);
    void* memory = attributes_.take(present + sizeof(XmlAttribute));
    if (memory == nullptr) return false;
    if (present > 0) std::memcpy(memory, element.attributes, present);
    element.attributes = static_cast<XmlAttribute*>(memory);
    return true;
}

bool XmlRecords::grow_apart(std::size_t length) {
    const std::size_t room = std::max(2 * apart_room_, apart_length_ + length + kValueLimit);
    if (room >= kApart) return false;
    auto* moved = static_cast<char16_t*>(::operator new(room * sizeof(char16_t), std::nothrow));
    if (moved == nullptr) return false;
    std::copy_n(apart_, apart_length_, moved);
    ::operator delete(apart_);
    apart_ = moved;
    apart_room_ = room;
    return true;
}

bool XmlRecords::keep_apart(std::u16string_view text, std::uint32_t* place) {
    if (apart_room_ - apart_length_ < text.size() && !grow_apart(text.size())) return false;
    text.copy(apart_ + apart_length_, text.size());
    *place = static_cast<std::uint32_t>(apart_length_) | kApart;
    apart_length_ += text.size();
    return true;
}

std::u16string_view XmlRecords::at(char16_t const* document, std::uint32_t place,
                                   std::size_t length) const {
    if ((place & kApart) != 0) return {apart_ + (place & ~kApart), length};
    return {document + place, length};
}

}  // namespace tarnwillow::detail
