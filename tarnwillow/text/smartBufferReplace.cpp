// Replacing in CSmartBuffer: every byte is moved once, however many replacements there are.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "tarnwillow/platform/search.h"
#include "tarnwillow/text/CSmartBuffer.h"
#include "tarnwillow/text/bufferStorage.h"
#include "tarnwillow/text/plainText.h"

namespace tarnwillow {

namespace {

// Calls `visit(at, end)`, in bytes, for the occurrences; only the first unless all are wanted. A
// false from `visit` ends it.
template <class Search, class Visit>
void visit_occurrences(Search const& pattern, unsigned char const* text, unsigned long size,
                       bool all, Visit visit) {
    constexpr unsigned long unit = sizeof(typename Search::unit_type);
    struct Context {
        Visit& visit;
        unsigned long pattern_size;
        bool all;
    } context{visit, pattern.length() * unit, all};
    const auto call = [](void* given, std::size_t index) {
        auto& inner = *static_cast<Context*>(given);
        const unsigned long at = index * unit;
        return inner.visit(at, at + inner.pattern_size) && inner.all;
    };
    pattern.visit_all(text, size / unit, call, &context);
}

// Storage that is filled from the front and, when it is full, gives way to the next larger one.
class Builder {
public:
    // Makes the capacity that much; false, with all as it was, without memory.
    bool grow(unsigned long capacity) {
        if (capacity == capacity_) return true;
        auto larger = detail::make_storage(capacity);
        if (larger == nullptr) return false;
        if (size_ != 0) std::memcpy(larger.get(), storage_.get(), size_);
        storage_ = std::move(larger);
        capacity_ = capacity;
        return true;
    }

    void append(void const* data, unsigned long count) {
        if (count != 0) std::memcpy(storage_.get() + size_, data, count);
        size_ += count;
    }

    unsigned char* release() {
        std::memset(storage_.get() + size_, 0, capacity_ - size_);
        return storage_.release();
    }

    unsigned long size() const { return size_; }
    unsigned long capacity() const { return capacity_; }

private:
    detail::Storage storage_;
    unsigned long size_ = 0;
    unsigned long capacity_ = 0;
};

}  // namespace

// A replacement that is no longer than what it replaces never overtakes the reading.
template <class Search>
void CSmartBuffer::replace_in_place(Search const& pattern, std::string_view replacement, bool all) {
    unsigned long from = 0, to = 0, cursor = 0;
    const auto keep_up_to = [&](unsigned long end) {
        if (from != to) std::memmove(Buffer + to, Buffer + from, end - from);
        to += end - from;
    };
    const auto visit = [&](unsigned long at, unsigned long end) {
        keep_up_to(at);
        std::memcpy(Buffer + to, replacement.data(), replacement.size());
        to += replacement.size();
        from = end;
        cursor = to;
        return true;
    };
    visit_occurrences(pattern, Buffer, End_Of_Data, all, visit);
    keep_up_to(End_Of_Data);
    Current_Offset = static_cast<std::uint32_t>(cursor);
    End_Of_Data = static_cast<std::uint32_t>(to);
}

// The capacity grows by the steps that inserting one by one would take, so it ends the same.
template <class Search>
void CSmartBuffer::replace_by_building(Search const& pattern, std::string_view replacement,
                                       bool all) {
    Builder built;
    unsigned long from = 0, new_end = End_Of_Data, cursor = 0;
    bool failed = false;
    const auto visit = [&](unsigned long at, unsigned long end) {
        new_end += replacement.size() - (end - at);
        const unsigned long capacity = std::max<unsigned long>(built.capacity(), Max_Size);
        failed = !built.grow(insert_capacity(capacity, new_end));
        if (failed) return false;
        built.append(Buffer + from, at - from);
        built.append(replacement.data(), replacement.size());
        from = end;
        cursor = built.size();
        return true;
    };
    visit_occurrences(pattern, Buffer, End_Of_Data, all, visit);
    if (failed || from == 0) return;
    built.append(Buffer + from, End_Of_Data - from);
    const unsigned long capacity = built.capacity();
    adopt(built.release(), static_cast<std::uint32_t>(capacity));
    Current_Offset = static_cast<std::uint32_t>(cursor);
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
