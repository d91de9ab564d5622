// The two-way method of finding a pattern: linear time and no memory, for the worst of texts.
#pragma once

#include <algorithm>
#include <cstddef>

namespace tarnwillow::platform {

/// `pattern(i)` and `text(i)` give units already folded; `length` is at least 1. The index of the
/// first occurrence that starts from `first` to `last`, or `none`.
template <class Pattern, class Text>
class TwoWay {
public:
    TwoWay(Pattern pattern, std::size_t length, Text text)
        : pattern_(pattern), text_(text), length_(length) {
        factorize();
    }

    std::size_t find(std::size_t first, std::size_t last, std::size_t none) const {
        return repeats() ? find_repeating(first, last, none) : find_plain(first, last, none);
    }

private:
    struct Factor {
        std::size_t start;
        std::size_t period;
    };

    // The largest suffix by the order of the units or by its reverse. Starts count from 1, so that
    // 0 can mean the whole pattern.
    Factor largest_suffix(bool reverse) const {
        std::size_t best = 0, at = 0, k = 1, period = 1;
        while (at + k < length_) {
            const auto candidate = pattern_(at + k);
            const auto held = pattern_(best + k - 1);
            if (candidate == held) {
                if (k != period) {
                    ++k;
                } else {
                    at += period;
                    k = 1;
                }
            } else if ((candidate < held) != reverse) {
                at += k;
                k = 1;
                period = at + 1 - best;
            } else {
                best = ++at;
                k = period = 1;
            }
        }
        return {best, period};
    }

    void factorize() {
        const Factor forward = largest_suffix(false);
        const Factor backward = largest_suffix(true);
        const Factor& later = backward.start < forward.start ? forward : backward;
        split_ = later.start;
        period_ = later.period;
    }

    bool repeats() const {
        if (period_ + split_ > length_) return false;
        for (std::size_t i = 0; i < split_; ++i)
            if (pattern_(i) != pattern_(i + period_)) return false;
        return true;
    }

    // First index from `from` on where pattern and text at `at` differ.
    std::size_t match_right(std::size_t at, std::size_t from) const {
        while (from < length_ && pattern_(from) == text_(at + from))
            ++from;
        return from;
    }

    // Whether the part in front of the split, down to `to`, stands at `at`.
    bool match_left(std::size_t at, std::size_t to) const {
        for (std::size_t i = split_; i > to; --i)
            if (pattern_(i - 1) != text_(at + i - 1)) return false;
        return true;
    }

    // What is known to match from the last step need not be compared again.
    std::size_t find_repeating(std::size_t at, std::size_t last, std::size_t none) const {
        std::size_t known = 0;
        while (at <= last) {
            const std::size_t right = match_right(at, std::max(split_, known));
            if (right < length_) {
                at += right - split_ + 1;
                known = 0;
            } else if (match_left(at, known)) {
                return at;
            } else {
                at += period_;
                known = length_ - period_;
            }
        }
        return none;
    }

    std::size_t find_plain(std::size_t at, std::size_t last, std::size_t none) const {
        const std::size_t step = std::max(split_, length_ - split_) + 1;
        while (at <= last) {
            const std::size_t right = match_right(at, split_);
            if (right < length_)
                at += right - split_ + 1;
            else if (match_left(at, 0))
                return at;
            else
                at += step;
        }
        return none;
    }

    Pattern pattern_;
    Text text_;
    std::size_t length_;
    std::size_t split_ = 0;
    std::size_t period_ = 1;
};

}  // namespace tarnwillow::platform
