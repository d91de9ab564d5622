// Finding one text in another, bytes or UTF-16 units, by exact value or ignoring the case of the
// ASCII letters.
//
// Sixteen positions are looked at together: the two units of the pattern that are rarest in
// ordinary text must stand at their places, and only then is the whole pattern compared. Text that
// defeats this, such as long runs of one letter, is handed to a method whose time is linear
// whatever it meets.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarnwillow::platform {

inline constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

/// A pattern with the places of its two rarest units.
struct RarePattern {
    const unsigned char* bytes;
    std::size_t length;  ///< in units
    std::size_t rarest;
    std::size_t rare;
};

/// A pattern made ready. It refers to the pattern's memory, which must outlive it. Texts and
/// patterns may be at any address, also wide ones; nothing outside them is read.
template <class Unit, bool kIgnoreCase>
class Search {
public:
    using unit_type = Unit;

    /// `length` in units; may be 0.
    Search(const void* pattern, std::size_t length);

    std::size_t length() const { return pattern_.length; }

    /// Index, in units, of the first occurrence that lies wholly within `units` of `text`, or
    /// kNotFound. An empty pattern occurs at 0.
    std::size_t find(const void* text, std::size_t units) const;

    /// Is given some occurrences at once; says whether to go on to the next ones.
    using Visit = bool (*)(void* context, std::size_t const* places, std::size_t count);

    /// Visits the occurrences of a pattern that is not empty, each behind the end of the last. A
    /// visitor may change the text in front of the end of the last one that it was given.
    void visit_all(const void* text, std::size_t units, Visit visit, void* context) const;

private:
    RarePattern pattern_;
};

using NarrowSearch = Search<std::uint8_t, false>;
using NarrowSearchNoCase = Search<std::uint8_t, true>;
using WideSearch = Search<char16_t, false>;
using WideSearchNoCase = Search<char16_t, true>;

extern template class Search<std::uint8_t, false>;
extern template class Search<std::uint8_t, true>;
extern template class Search<char16_t, false>;
extern template class Search<char16_t, true>;

}  // namespace tarnwillow::platform
