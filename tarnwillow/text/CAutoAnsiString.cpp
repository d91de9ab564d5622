#include "tarnwillow/text/CAutoAnsiString.h"

#include "tarnwillow/text/characterConversion.h"

namespace tarnwillow {

CAutoAnsiString::CAutoAnsiString(char16_t const* source) {
    if (source != nullptr) text = detail::convert_copy(source, small, kSmallRoom, heap);
}

CAutoAnsiString::CAutoAnsiString(char const* source) : text(const_cast<char*>(source)) {}

}  // namespace tarnwillow
