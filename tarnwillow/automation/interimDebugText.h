// The debug texts of values, until diagnostics/ has them.
#pragma once

#include "tarnwillow/platform/dispatch.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

inline long GetDebugVariantString(VARIANT* value, char16_t* out) {
    VARIANT text{};
    const long status = VariantChangeType(&text, value, 0, VT_BSTR);
    if (status == 0 && text.bstrVal != nullptr) wide::copy(out, 256, text.bstrVal);
    VariantClear(&text);
    return status;
}

inline void GetDebugParametersString(DISPPARAMS*, char16_t*, int) {}

}  // namespace tarnwillow
