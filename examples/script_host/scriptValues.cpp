#include "scriptValues.h"

#include <cmath>
#include <cstdint>

#include "tarnwillow/platform/status.h"

namespace tarnwillow::script {

namespace {

bool is_number(const VARIANT& variant, double* number) {
    VARIANT real{};
    if (variant.vt == VT_EMPTY || VariantChangeType(&real, &variant, 0, VT_R8) != S_OK)
        return false;
    *number = real.dblVal;
    return true;
}

}  // namespace

ScriptValue value_of(const VARIANT& variant) {
    ScriptValue value{Kind::kUndefined, 0, nullptr, nullptr};
    if (variant.vt == VT_NULL || (variant.vt == VT_DISPATCH && variant.pdispVal == nullptr)) {
        value.kind = Kind::kNull;
    } else if (variant.vt == VT_DISPATCH) {
        value.kind = Kind::kObject;
        value.object = variant.pdispVal;
    } else if (variant.vt == VT_BSTR) {
        value.kind = Kind::kText;
        value.text = variant.bstrVal;
    } else if (variant.vt == VT_BOOL) {
        value.kind = Kind::kBool;
        value.number = variant.boolVal != VARIANT_FALSE ? 1 : 0;
    } else if (is_number(variant, &value.number)) {
        value.kind = Kind::kNumber;
    }
    return value;
}

void set_number(VARIANT* variant, double number) {
    const bool is_small =
        number >= INT32_MIN && number <= INT32_MAX && number == std::trunc(number);
    variant->vt = is_small ? VT_I4 : VT_R8;
    if (is_small)
        variant->llVal = static_cast<std::int32_t>(number);
    else
        variant->dblVal = number;
}

void set_bool(VARIANT* variant, bool value) {
    variant->vt = VT_BOOL;
    variant->boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
}

void set_null(VARIANT* variant) { variant->vt = VT_NULL; }

void set_object(VARIANT* variant, IDispatch* object) {
    variant->vt = VT_DISPATCH;
    variant->pdispVal = object;
}

}  // namespace tarnwillow::script
