// Replacing in CSmartBuffer: every byte is moved once, however many replacements there are.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "tarnwillow/platform/search.h"
#include "tarnwillow/platform/shortCopy.h"
#include "tarnwillow/text/CSmartBuffer.h"
#include "tarnwillow/text/bufferStorage.h"
#include "tarnwillow/text/plainText.h"

namespace tarnwillow {

namespace {

/// What is replaced by what. Places are counted in units, everything else in bytes.
struct Exchange {
    unsigned long unit;
    unsigned long find_size;
    std::string_view replacement;

    long growth() const {
        return static_cast<long>(replacement.size()) - static_cast<long>(find_size);
    }
};

/// A text on its way to its new form. That may lie in the same memory if no replacement is longer
/// than what it replaces: then writing never overtakes reading.
class Rewriting {
public:
    Rewriting(unsigned char const* text, unsigned long room, Exchange const& exchange)
        : source_(text), source_room_(room), exchange_(exchange) {}

    /// Where the new form is written to from now on. What is already written must be there.
    void write_to(unsigned char* dest, unsigned long room) {
        dest_ = dest;
        dest_room_ = room;
    }

    void replace(std::size_t const* places, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const unsigned long at = places[i] * exchange_.unit;
            write(at, exchange_.replacement);
            from_ = at + exchange_.find_size;
        }
        cursor_ = to_;
    }
    void finish(unsigned long end) { write(end, {}); }

    bool has_replaced() const { return from_ != 0; }
    unsigned long size() const { return to_; }
    unsigned long cursor() const { return cursor_; }  ///< behind the last replacement

private:
    // The text up to `end`, and what stands behind it then.
    void write(unsigned long end, std::string_view behind) {
        const unsigned long kept = end - from_;
        unsigned char* const dest = dest_ + to_;
        to_ += kept + behind.size();
        if (has_room_for_blocks(dest, end, kept))
            platform::copy_in_blocks(dest, source_ + from_, kept);
        else if (dest != source_ + from_)
            std::memmove(dest, source_ + from_, kept);
        platform::copy_short(dest + kept, behind.data(), behind.size());
    }

    // Blocks go a little beyond the end. In the same memory nothing that is still to be read may
    // lie there.
    bool has_room_for_blocks(unsigned char const* dest, unsigned long end,
                             unsigned long kept) const {
        if (end + platform::kCopyBlock > source_room_) return false;
        const auto written = static_cast<unsigned long>(dest - dest_) + kept;
        return dest_ == source_ ? end - written >= platform::kCopyBlock
                                : written + platform::kCopyBlock <= dest_room_;
    }

    unsigned char const* const source_;
    const unsigned long source_room_;
    const Exchange exchange_;
    unsigned char* dest_ = nullptr;
    unsigned long dest_room_ = 0;
    unsigned long from_ = 0;  // up to here the text is rewritten
    unsigned long to_ = 0;
    unsigned long cursor_ = 0;
};

// Calls `visit(places, count)` for the occurrences, some at a time; only for the first unless all
// are wanted. A false from `visit` ends it.
template <class Search, class Visit>
void visit_occurrences(Search const& pattern, unsigned char const* text, unsigned long size,
                       bool all, Visit visit) {
    const unsigned long units = size / sizeof(typename Search::unit_type);
    if (!all) {
        const std::size_t at = pattern.find(text, units);
        if (at != platform::kNotFound) visit(&at, 1);
        return;
    }
    const auto call = [](void* given, std::size_t const* places, std::size_t count) {
        return (*static_cast<Visit*>(given))(places, count);
    };
    pattern.visit_all(text, units, call, &visit);
}

}  // namespace

template <class Search>
void CSmartBuffer::replace_in_place(Search const& pattern, std::string_view replacement, bool all) {
    constexpr unsigned long unit = sizeof(typename Search::unit_type);
    Rewriting text(Buffer, Max_Size, {unit, pattern.length() * unit, replacement});
    text.write_to(Buffer, Max_Size);
    visit_occurrences(pattern, Buffer, End_Of_Data, all,
                      [&text](std::size_t const* places, std::size_t count) {
                          text.replace(places, count);
                          return true;
                      });
    text.finish(End_Of_Data);
    Current_Offset = static_cast<std::uint32_t>(text.cursor());
    End_Of_Data = static_cast<std::uint32_t>(text.size());
}

// The capacity grows by the steps that inserting one by one would take, so it ends the same.
template <class Search>
void CSmartBuffer::replace_by_building(Search const& pattern, std::string_view replacement,
                                       bool all) {
    constexpr unsigned long unit = sizeof(typename Search::unit_type);
    const Exchange exchange{unit, pattern.length() * unit, replacement};
    Rewriting text(Buffer, Max_Size, exchange);
    detail::Storage built;
    unsigned long capacity = 0, new_end = End_Of_Data;
    const auto grow = [&] {
        const unsigned long wanted =
            insert_capacity(std::max<unsigned long>(capacity, Max_Size), new_end);
        if (wanted == capacity) return true;
        auto larger = detail::make_storage(wanted);
        if (larger == nullptr) return false;
        if (text.size() != 0) std::memcpy(larger.get(), built.get(), text.size());
        built = std::move(larger);
        capacity = wanted;
        text.write_to(built.get(), capacity);
        return true;
    };
    bool failed = false;
    visit_occurrences(pattern, Buffer, End_Of_Data, all,
                      [&](std::size_t const* places, std::size_t count) {
                          new_end += count * static_cast<unsigned long>(exchange.growth());
                          failed = !grow();
                          if (!failed) text.replace(places, count);
                          return !failed;
                      });
    if (failed || !text.has_replaced()) return;
    text.finish(End_Of_Data);
    std::memset(built.get() + text.size(), 0, capacity - text.size());
    adopt(built.release(), static_cast<std::uint32_t>(capacity));
    Current_Offset = static_cast<std::uint32_t>(text.cursor());
    End_Of_Data = static_cast<std::uint32_t>(new_end);
}

template <class Search, class Char>
long CSmartBuffer::replace(Char const* find, Char const* replacement, bool all) {
    if (find == nullptr || replacement == nullptr) return E_INVALIDARG;
    const std::size_t find_length = detail::length_of(find);
    const std::size_t length = detail::length_of(replacement);
    if (find_length == 0) return 0;
    Current_Offset = 0;
    std::unique_ptr<Char[]> copy;  // of texts that the replacing would change under its own hands
    if (holds(find) || holds(replacement)) {
        copy.reset(new (std::nothrow) Char[find_length + length]);
        if (copy == nullptr) return 0;
        std::memcpy(copy.get(), find, find_length * sizeof(Char));
        std::memcpy(copy.get() + find_length, replacement, length * sizeof(Char));
        find = copy.get();
        replacement = find + find_length;
    }
    const Search pattern(find, find_length);
    const std::string_view bytes(reinterpret_cast<char const*>(replacement), length * sizeof(Char));
    if (length <= find_length)
        replace_in_place(pattern, bytes, all);
    else
        replace_by_building(pattern, bytes, all);
    return 0;
}

long CSmartBuffer::Search_And_Replace(char const* find, char const* replacement, bool all) {
    if (Is_Unicode) return E_UNEXPECTED;
    return replace<platform::NarrowSearch>(find, replacement, all);
}

long CSmartBuffer::Search_And_Replace(char16_t const* find, char16_t const* replacement, bool all) {
    if (!Is_Unicode) return E_UNEXPECTED;
    return replace<platform::WideSearch>(find, replacement, all);
}

}  // namespace tarnwillow
