#pragma once

#include "tarnwillow/core/CAutoDeleteableObject.h"
#include "tarnwillow/text/tokenState.h"

namespace tarnwillow {

/// Cuts the caller's text at one separator, in place. Quotes mean nothing; spaces are kept unless
/// the strip flags say otherwise, and only the space counts as one. "a,,b" gives "a", "" and "b";
/// a separator at the very end is followed by no empty piece.
///
/// An object of one thread. The pieces point into the text, which must outlive the object.
class TARNWILLOW_API CTokenString : public CAutoDeleteableObject {
public:
    /// A null text has no pieces. Both strip flags are off.
    CTokenString(char* text, char separator);
    CTokenString(const CTokenString&) = delete;
    CTokenString& operator=(const CTokenString&) = delete;

    /// Whether pieces lose spaces at both ends, or at the one end.
    void Strip_Spaces(bool on);
    void Strip_Leading_Spaces(bool on);
    void Strip_Trailing_Spaces(bool on);  ///< the first character of a piece always stays

    /// The next piece; null when the text is used up. A zero means the object's own separator.
    char* Next_Token(char separator);

    /// All that is left, uncut; the text is used up then. Empty, not null, at the end.
    char* Remainder();

private:
    detail::TokenState<char> state;
};

}  // namespace tarnwillow
