#pragma once

#include <memory>

#include "tarnwillow/core/CAutoDeleteableObject.h"
#include "tarnwillow/text/tokenState.h"

namespace tarnwillow {

/// CTokenString for wide text, on a copy of its own: the caller's text is not changed and need not
/// live on. The pieces live as long as the object.
class TARNWILLOW_API CWTokenString : public CAutoDeleteableObject {
public:
    /// A null text has no pieces, and neither has one that there is no memory to copy.
    CWTokenString(char16_t const* text, char16_t separator);
    CWTokenString(const CWTokenString&) = delete;
    CWTokenString& operator=(const CWTokenString&) = delete;

    /// Whether pieces lose spaces at both ends, or at the one end.
    void Strip_Spaces(bool on);
    void Strip_Leading_Spaces(bool on);
    void Strip_Trailing_Spaces(bool on);  ///< the first character of a piece always stays

    /// The next piece; null when the text is used up. A zero means the object's own separator.
    char16_t const* Next_Token(char16_t separator);

    /// All that is left, uncut; the text is used up then. Empty, not null, at the end; null for an
    /// object without text.
    char16_t const* Remainder();

private:
    std::unique_ptr<char16_t[]> copy;
    detail::TokenState<char16_t> state;
};

}  // namespace tarnwillow
