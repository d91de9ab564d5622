#include "tarnwillow/text/CWTokenString.h"

#include "tarnwillow/text/plainText.h"
#include "tarnwillow/text/tokenWalks.h"

namespace tarnwillow {

CWTokenString::CWTokenString(char16_t const* text, char16_t separator)
    : copy(detail::copy_text(text)), state(detail::begin_tokens(copy.get(), separator)) {}

void CWTokenString::Strip_Spaces(bool on) { state.strip_leading = state.strip_trailing = on; }
void CWTokenString::Strip_Leading_Spaces(bool on) { state.strip_leading = on; }
void CWTokenString::Strip_Trailing_Spaces(bool on) { state.strip_trailing = on; }

char16_t const* CWTokenString::Next_Token(char16_t separator) {
    return detail::next_token(state, separator);
}
char16_t const* CWTokenString::Remainder() { return detail::rest_of_tokens(state); }

}  // namespace tarnwillow
