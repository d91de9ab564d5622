// How an object of the library tells a script's host why a call failed.
#pragma once

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow::detail {

/// Fills `exception`, whose strings are freed: the status, a positive one as HRESULT_FROM_WIN32
/// makes it, the source, and the description, or the status's own text if that is null or empty.
void fill_exception(EXCEPINFO* exception, long status, char16_t const* source,
                    char16_t const* description);

}  // namespace tarnwillow::detail
