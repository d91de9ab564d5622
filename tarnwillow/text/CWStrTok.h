#pragma once

#include <memory>

#include "tarnwillow/core/CAutoDeleteableObject.h"

namespace tarnwillow {

/// CStrTok for wide text: cuts a copy of it at any of a set of separators. Every separator ends a
/// piece, so that ",a" gives "" and "a", and "a," gives "a" and "". The pieces live as long as the
/// object.
class TARNWILLOW_API CWStrTok : public CAutoDeleteableObject {
public:
    /// With `honour_quotes`, separators between double quotes are ordinary characters; the quotes
    /// stay in the piece, and one left open protects the rest. A null text has no pieces. Throws
    /// `int` -1 without memory.
    CWStrTok(char16_t const* text, bool honour_quotes);
    template <class T>
    CWStrTok(char16_t const* text, T* separators) = delete;
    CWStrTok(const CWStrTok&) = delete;
    CWStrTok& operator=(const CWStrTok&) = delete;

    /// The next piece; null when the text is used up. Null separators give the whole rest.
    char16_t* Next(char16_t const* separators);

private:
    std::unique_ptr<char16_t[]> copy;
    char16_t* next_piece;
    bool honour_quotes;
};

}  // namespace tarnwillow
