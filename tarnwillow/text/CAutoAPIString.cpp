#include "tarnwillow/text/CAutoAPIString.h"

#include "tarnwillow/text/characterConversion.h"

namespace tarnwillow {

CAutoAPIString::CAutoAPIString(char const* source) {
    if (source != nullptr) text = detail::convert_copy(source, small, kSmallRoom, heap);
}

CAutoAPIString::CAutoAPIString(char16_t const* source) : text(const_cast<char16_t*>(source)) {}

}  // namespace tarnwillow
