// Variants as scripts know values.
#pragma once

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow::script {

enum class Kind { kUndefined, kNull, kBool, kNumber, kText, kObject };

/// A look at a variant, which keeps what it owns.
struct ScriptValue {
    Kind kind;
    double number;      ///< or 1 and 0 for kBool
    BSTR text;          ///< may be null, for the empty text
    IDispatch* object;  ///< never null
};

ScriptValue value_of(const VARIANT& variant);

/// VT_I4 for an integer within 32 bits, otherwise VT_R8.
void set_number(VARIANT* variant, double number);

void set_bool(VARIANT* variant, bool value);
void set_null(VARIANT* variant);
void set_object(VARIANT* variant, IDispatch* object);  ///< takes over the caller's reference

}  // namespace tarnwillow::script
