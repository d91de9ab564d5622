#include "tarnwillow/xml/xmlPreparation.h"

#include <cstring>
#include <string_view>

#include "tarnwillow/platform/unitScan.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::detail {

namespace {

struct Region {
    std::u16string_view opening;
    std::u16string_view closing;

    std::size_t least_length() const { return opening.size() + closing.size(); }
};

constexpr Region kRegions[] = {{u"<?", u"?>"}, {u"<!--", u"-->"}};

bool stands_at(char16_t const* at, char16_t const* end, std::u16string_view text) {
    return static_cast<std::size_t>(end - at) >= text.size() &&
           std::memcmp(at, text.data(), text.size() * sizeof(char16_t)) == 0;
}

/// The character behind the closing, or null if there is none.
char16_t const* find_behind(char16_t const* from, char16_t const* end,
                            std::u16string_view closing) {
    const auto first = static_cast<char>(closing[0]);
    const auto second = static_cast<char>(closing[1]);
    for (;; ++from) {
        from = scan::find_pair(from, end, first, second, second);
        if (from == end) return nullptr;
        if (stands_at(from, end, closing)) return from + closing.size();
    }
}

/// The end of the regions to remove at `at`, or `at` itself; null if one has no end. Each kind is
/// tried once, in order. Whether a kind can fit is told from what remained before any was removed.
char16_t const* skip_regions(char16_t const* at, char16_t const* end) {
    const auto remaining = static_cast<std::size_t>(end - at);
    for (const Region& region : kRegions) {
        if (remaining < region.least_length() || !stands_at(at, end, region.opening)) continue;
        at = find_behind(at + region.opening.size(), end, region.closing);
        if (at == nullptr) return nullptr;
    }
    return at;
}

/// What is kept so far. As long as that is nothing, keeping moves the start instead of the text.
class Kept {
public:
    explicit Kept(char16_t* begin) : begin_(begin), end_(begin) {}

    void keep(char16_t const* from, char16_t const* to) {
        if (end_ == begin_) begin_ = end_ = const_cast<char16_t*>(from);
        const auto length = static_cast<std::size_t>(to - from);
        if (end_ != from) std::memmove(end_, from, length * sizeof(char16_t));
        end_ += length;
    }
    XmlText text() const { return {begin_, static_cast<std::size_t>(end_ - begin_)}; }

private:
    char16_t* begin_;
    char16_t* end_;
};

}  // namespace

void drop_trailing_space(XmlText& text) {
    while (text.length > 0 && wide::is_space(text.begin[text.length - 1]))
        --text.length;
}

bool remove_regions(XmlText& text) {
    char16_t const* const end = text.begin + text.length;
    char16_t const* unkept = text.begin;
    Kept kept(text.begin);
    for (char16_t const* at = text.begin; at < end;) {
        at = scan::find_pair(at, end, '<', '?', '!');
        char16_t const* behind = skip_regions(at, end);
        if (behind == nullptr) return false;
        if (behind != at) {
            kept.keep(unkept, at);
            unkept = behind;
        }
        at = behind < end ? behind + 1 : end;
    }
    kept.keep(unkept, end);
    text = kept.text();
    return true;
}

void drop_leading_text(XmlText& text) {
    char16_t const* end = text.begin + text.length;
    const auto before =
        static_cast<std::size_t>(scan::find_either(text.begin, end, '<', '<') - text.begin);
    if (before == text.length) return;
    text.begin += before;
    text.length -= before;
}

}  // namespace tarnwillow::detail
