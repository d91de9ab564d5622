#include "tarnwillow/platform/ole.h"

#include <cstdlib>
#include <cstring>

#include "tarnwillow/platform/memoryBlock.h"
#include "tarnwillow/platform/shortCopy.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

// The length in bytes stands in the four bytes in front of the text; eight keep the block aligned.
constexpr std::size_t kPrefix = 8;

std::uint32_t* byte_length(char* block) {
    return reinterpret_cast<std::uint32_t*>(block + kPrefix) - 1;
}

char* block_of(BSTR string) { return reinterpret_cast<char*>(string) - kPrefix; }

}  // namespace

BSTR SysAllocString(char16_t const* text) {
    if (text == nullptr) return nullptr;
    const std::size_t length = wide::length(text);
    if (length > 0x7FFFFFFF / sizeof(char16_t)) return nullptr;
    return SysAllocStringLen(text, static_cast<std::uint32_t>(length));
}

BSTR SysAllocStringLen(char16_t const* text, std::uint32_t length) {
    const std::size_t bytes = length * sizeof(char16_t);
    if (bytes > 0xFFFFFFFF) return nullptr;
    char* block = static_cast<char*>(std::malloc(kPrefix + bytes + sizeof(char16_t)));
    if (block == nullptr) return nullptr;
    char* const units = block + kPrefix;
    *byte_length(block) = static_cast<std::uint32_t>(bytes);
    if (text != nullptr)
        platform::copy_short(units, text, bytes);
    else
        std::memset(units, 0, bytes);
    std::memset(units + bytes, 0, sizeof(char16_t));
    return reinterpret_cast<BSTR>(block + kPrefix);
}

void SysFreeString(BSTR string) {
    if (string != nullptr) std::free(block_of(string));
}

std::uint32_t SysStringByteLen(BSTR string) {
    return string != nullptr ? *byte_length(block_of(string)) : 0;
}

std::uint32_t SysStringLen(BSTR string) { return SysStringByteLen(string) / sizeof(char16_t); }

void* CoTaskMemAlloc(std::size_t bytes) { return platform::resize_heap(nullptr, bytes); }
void CoTaskMemFree(void* memory) { platform::free_heap(memory); }

}  // namespace tarnwillow
