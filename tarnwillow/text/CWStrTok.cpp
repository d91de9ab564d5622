#include "tarnwillow/text/CWStrTok.h"

#include "tarnwillow/text/plainText.h"
#include "tarnwillow/text/tokenWalks.h"

namespace tarnwillow {

CWStrTok::CWStrTok(char16_t const* text, bool quotes)
    : copy(detail::copy_text(text)), next_piece(copy.get()), honour_quotes(quotes) {
    if (text != nullptr && copy == nullptr) throw -1;
}

char16_t* CWStrTok::Next(char16_t const* separators) {
    return detail::next_piece(next_piece, separators, honour_quotes);
}

}  // namespace tarnwillow
