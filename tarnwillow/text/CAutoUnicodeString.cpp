#include "tarnwillow/text/CAutoUnicodeString.h"

#include "tarnwillow/text/characterConversion.h"

namespace tarnwillow {

CAutoUnicodeString::CAutoUnicodeString(char const* source) {
    if (source != nullptr) text = detail::convert_copy(source, small, kSmallRoom, heap);
}

CAutoUnicodeString::CAutoUnicodeString(char16_t const* source)
    : text(const_cast<char16_t*>(source)) {}

}  // namespace tarnwillow
