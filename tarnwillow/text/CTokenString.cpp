#include "tarnwillow/text/CTokenString.h"

#include "tarnwillow/text/tokenWalks.h"

namespace tarnwillow {

CTokenString::CTokenString(char* text, char separator)
    : state(detail::begin_tokens(text, separator)) {}

void CTokenString::Strip_Spaces(bool on) { state.strip_leading = state.strip_trailing = on; }
void CTokenString::Strip_Leading_Spaces(bool on) { state.strip_leading = on; }
void CTokenString::Strip_Trailing_Spaces(bool on) { state.strip_trailing = on; }

char* CTokenString::Next_Token(char separator) { return detail::next_token(state, separator); }
char* CTokenString::Remainder() { return detail::rest_of_tokens(state); }

}  // namespace tarnwillow
