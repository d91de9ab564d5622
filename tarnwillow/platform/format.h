// Formatted text in the caller's buffer, narrow and wide, with the meaning that the callers'
// formats have had since their first runtime.
//
// %s takes text of the format's own width and %S text of the other: the wide family's %s is wide
// and its %S narrow. %hs is narrow and %ls and %ws are wide in both; %c, %C and their prefixed
// forms follow the same rule. %d %i %u %x %X %o print 32 bits, with `l` too, whether the argument
// was an int or a 64-bit long; `h` prints 16 and `hh` 8. 64 bits are printed with I64, ll, I, j, z
// or t in front. %p is 16 digits in upper case. %e %f %g %a and their upper-case forms take a
// double; the decimal point is a point whatever the locale. Flags, widths, precisions and `*` are
// those of C. A precision of text bounds both the units read and the units stored. A null text
// prints "(null)". %n takes its argument and does nothing. What is no conversion is stored as it
// stands.
//
// Text converted from the other width is UTF-8 on the narrow side; what cannot be read becomes
// U+FFFD. Output that does not fit is cut in front of the character that did not.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "tarnwillow/platform/api.h"

namespace tarnwillow::platform {

/// Stores the text and a terminator in at most `capacity` units. Gives the units stored, terminator
/// not counted; 0 for a null format. Capacity 0 stores nothing. Keeps off the heap and never
/// throws; follows `format` and the text arguments as they are, so a bad one faults. Any thread;
/// safe in a signal handler.
TARNWILLOW_API std::size_t format_text(char* out, std::size_t capacity, char const* format, ...);
TARNWILLOW_API std::size_t format_text(char16_t* out, std::size_t capacity, char16_t const* format,
                                       ...);

/// The same with the arguments of a caller's own; `arguments` is as it was afterwards.
TARNWILLOW_API std::size_t format_text_v(char* out, std::size_t capacity, char const* format,
                                         std::va_list arguments);
TARNWILLOW_API std::size_t format_text_v(char16_t* out, std::size_t capacity,
                                         char16_t const* format, std::va_list arguments);

}  // namespace tarnwillow::platform
