#pragma once

#include <memory>

#include "tarnwillow/core/CAutoDeleteableObject.h"

namespace tarnwillow {

/// Cuts a copy of a text at any of a set of separators. Every separator ends a piece, so that ",a"
/// gives "" and "a", and "a," gives "a" and "". The pieces live as long as the object.
class TARNWILLOW_API CStrTok : public CAutoDeleteableObject {
public:
    /// With `honour_quotes`, separators between double quotes are ordinary characters; the quotes
    /// stay in the piece, and one left open protects the rest. A null text has no pieces. Throws
    /// `int` -1 without memory.
    CStrTok(char const* text, bool honour_quotes);
    template <class T>
    CStrTok(char const* text, T* separators) = delete;
    CStrTok(const CStrTok&) = delete;
    CStrTok& operator=(const CStrTok&) = delete;

    /// The next piece; null when the text is used up. Null separators give the whole rest.
    char* Next(char const* separators);

private:
    std::unique_ptr<char[]> copy;
    char* next_piece;
    bool honour_quotes;
};

}  // namespace tarnwillow
