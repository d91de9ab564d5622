// Memory that ends, or begins, at a page nobody may touch: a step too far faults at once.
#pragma once

#include <cstddef>
#include <string_view>

namespace tarnwillow::test {

/// `size` writable bytes whose end is the end of what may be touched.
class GuardPage {
public:
    explicit GuardPage(std::size_t size);
    ~GuardPage();
    GuardPage(const GuardPage&) = delete;
    GuardPage& operator=(const GuardPage&) = delete;

    char* begin() const { return end_ - size_; }
    char* end() const { return end_; }  ///< the first byte that faults

    template <class T>
    T* as() const {
        return reinterpret_cast<T*>(begin());
    }

private:
    std::size_t size_;
    std::size_t mapped_;
    char* mapping_;
    char* end_;
};

/// A copy of a text, with its terminator as the last thing that may be read.
template <class Char>
class TextAtGuardPage {
public:
    explicit TextAtGuardPage(std::basic_string_view<Char> text)
        : page_((text.size() + 1) * sizeof(Char)) {
        text.copy(page_.as<Char>(), text.size());
        page_.as<Char>()[text.size()] = 0;
    }
    Char* text() const { return page_.as<Char>(); }

private:
    GuardPage page_;
};

}  // namespace tarnwillow::test
