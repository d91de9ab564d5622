// The readers of CDispParamsMaster.
#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace {

void set_not_found() { SetLastError(static_cast<std::uint32_t>(ERROR_NOT_FOUND)); }

}  // namespace

int CDispParamsMaster::Count_Params() const {
    return block != nullptr ? static_cast<int>(block->cArgs) : 0;
}

VARIANT* CDispParamsMaster::argument(int index) {
    if (block == nullptr || block->rgvarg == nullptr) return nullptr;
    if (index < 0 || static_cast<std::uint32_t>(index) >= block->cArgs) return nullptr;
    return &block->rgvarg[block->cArgs - 1 - static_cast<std::uint32_t>(index)];
}

VARIANT* CDispParamsMaster::argument_or_error(int index, VARTYPE vt) {
    VARIANT* const found = argument(index);
    if (found != nullptr && found->vt == vt) return found;
    set_not_found();
    return nullptr;
}

int CDispParamsMaster::Get_Param_Type(int index) {
    VARIANT const* const found = argument(index);
    return found != nullptr ? found->vt : -1;
}

VARIANT* CDispParamsMaster::Get_Variant(int index, VARIANT* fallback) {
    VARIANT* const found = argument(index);
    if (found != nullptr) return found;
    set_not_found();
    return fallback;
}

char16_t* CDispParamsMaster::Get_Str_Param(int index, char16_t const* fallback) {
    VARIANT const* const found = argument_or_error(index, VT_BSTR);
    if (found == nullptr) return const_cast<char16_t*>(fallback);
    if (found->bstrVal != nullptr) return found->bstrVal;
    empty_text[0] = 0;
    return empty_text;
}

long CDispParamsMaster::Get_Numeric_Param(int index, long fallback) {
    VARIANT const* const found = argument_or_error(index, VT_I4);
    return found != nullptr ? found->lVal : fallback;
}

long long CDispParamsMaster::Get_Numeric_Param_64(int index, long long fallback) {
    VARIANT const* const found = argument_or_error(index, VT_I8);
    return found != nullptr ? found->llVal : fallback;
}

bool CDispParamsMaster::Get_Bool_Param(int index, bool fallback) {
    VARIANT const* const found = argument_or_error(index, VT_BOOL);
    return found != nullptr ? found->boolVal == VARIANT_TRUE : fallback;
}

IDispatch* CDispParamsMaster::Get_Dispatch_Param(int index, IDispatch* fallback) {
    VARIANT const* const found = argument_or_error(index, VT_DISPATCH);
    return found != nullptr ? found->pdispVal : fallback;
}

IUnknown* CDispParamsMaster::Get_IUnknown_Param(int index, IUnknown* fallback) {
    VARIANT const* const found = argument_or_error(index, VT_UNKNOWN);
    return found != nullptr ? found->punkVal : fallback;
}

long CDispParamsMaster::Get_Param(int index, void** value, unsigned short vt,
                                  unsigned short* actual, bool convert) {
    VARIANT* const found = argument(index);
    if (found == nullptr || value == nullptr) return E_INVALIDARG;
    if (found->vt != vt) {
        if (actual != nullptr) *actual = found->vt;
        if (!convert) return E_INVALIDARG;
        const long result = VariantChangeType(found, found, 0, vt);
        if (result != S_OK) return result;
    }
    switch (vt) {
        case VT_I4:
            found->llVal = found->lVal;
            break;  // a script's host writes 32 bits
        case VT_BSTR:
        case VT_DISPATCH:
        case VT_BOOL:
        case VT_UNKNOWN:
            break;
        default:
            return E_INVALIDARG;
    }
    *value = &found->llVal;
    return S_OK;
}

}  // namespace tarnwillow
