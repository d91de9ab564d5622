// Text between UTF-16 and the engines' own form: UTF-8 in which each half of a surrogate pair is a
// character of its own.
#pragma once

#include <string>
#include <string_view>

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow::script {

/// What stands for a zero inside a text.
enum class Zero { kPlain, kTwoBytes };

/// Throws std::bad_alloc.
std::string to_engine_text(std::u16string_view text, Zero zero);

/// Room for a text on its way into an engine, which the engine keeps: a jump out of a push then
/// leaves nothing behind.
class TextRoom {
public:
    /// Good until the next call. Null without memory.
    std::string const* convert(BSTR text, Zero zero);

private:
    std::string text_;
};

/// A BSTR of an engine's text, of ordinary UTF-8 too; a broken byte becomes U+FFFD. Null without
/// memory.
BSTR from_engine_text(std::string_view text);

}  // namespace tarnwillow::script
