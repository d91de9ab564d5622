// The shell's string form as narrow text.
#include <cstring>

#include "tarnwillow/platform/ole.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/characterConversion.h"
#include "tarnwillow/text/stringUtilities.h"

namespace tarnwillow {

namespace {

long take_wide(STRRET* source, char* dest, std::size_t size) {
    if (source->pOleStr == nullptr) return E_INVALIDARG;
    const std::size_t length = wide::length(source->pOleStr);
    if (detail::convert_all(source->pOleStr, length + 1, dest, size) != S_OK) return E_OUTOFMEMORY;
    CoTaskMemFree(source->pOleStr);
    source->pOleStr = nullptr;
    return S_OK;
}

long copy_narrow(const STRRET& source, char* dest, std::size_t size) {
    const std::size_t length = strnlen(source.cStr, sizeof source.cStr);
    if (length >= size) return E_OUTOFMEMORY;
    std::memcpy(dest, source.cStr, length);
    dest[length] = 0;
    return S_OK;
}

}  // namespace

long DM_StrRetToStr(STRRET* source, char* dest, int size) {
    if (size <= 0) return E_OUTOFMEMORY;
    if (dest == nullptr) return E_INVALIDARG;
    dest[0] = 0;
    if (source == nullptr) return E_INVALIDARG;
    switch (source->uType) {
        case STRRET_WSTR:
            return take_wide(source, dest, static_cast<std::size_t>(size));
        case STRRET_OFFSET:
            return E_NOTIMPL;
        case STRRET_CSTR:
            return copy_narrow(*source, dest, static_cast<std::size_t>(size));
        default:
            return E_INVALIDARG;
    }
}

}  // namespace tarnwillow
