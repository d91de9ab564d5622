#include "tarnwillow/automation/CDispParamsMaster.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "tarnwillow/platform/status.h"
#include "tarnwillow/text/characterSets.h"

namespace tarnwillow {

CDispParamsMaster::~CDispParamsMaster() {
    if (!attached) Clear_Params();
}

// Adding.

long CDispParamsMaster::Pre_Add() {
    if (attached) return E_UNEXPECTED;
    block = &own_block;
    return block->cArgs < kCapacity ? S_OK : E_OUTOFMEMORY;
}

void CDispParamsMaster::commit_added() {
    block->rgvarg = next_slot();
    ++block->cArgs;
}

long CDispParamsMaster::Add_Param(unsigned short vt, void const* value) {
    const long refused = Pre_Add();
    if (refused != S_OK) return refused;
    const bool needs_value = vt == VT_I4 || vt == VT_BOOL || vt == VT_DISPATCH || vt == VT_UNKNOWN;
    if (needs_value && value == nullptr) return E_INVALIDARG;
    VARIANT added{};
    added.vt = vt;
    switch (vt) {
        case VT_EMPTY:
        case VT_NULL:
            break;
        case VT_I4:
            added.llVal = static_cast<std::int32_t>(*static_cast<long const*>(value));
            break;
        case VT_BSTR:
            added.bstrVal = SysAllocString(static_cast<char16_t const*>(value));
            if (value != nullptr && added.bstrVal == nullptr) return E_OUTOFMEMORY;
            break;
        case VT_DISPATCH:
        case VT_UNKNOWN:
            added.punkVal = *static_cast<IUnknown* const*>(value);
            if (added.punkVal != nullptr) added.punkVal->AddRef();
            break;
        case VT_BOOL:
            added.boolVal = *static_cast<unsigned char const*>(value) == 1 ? VARIANT_TRUE : 0;
            break;
        default:
            return E_INVALIDARG;
    }
    *next_slot() = added;
    commit_added();
    return S_OK;
}

long CDispParamsMaster::Add_Param(char const* text) {
    if (text == nullptr) return Add_Param(VT_BSTR, nullptr);
    const std::size_t size = std::strlen(text) + 1;
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) return E_OUTOFMEMORY;
    const std::unique_ptr<char16_t[]> wide(new (std::nothrow) char16_t[size]);
    if (wide == nullptr) return E_OUTOFMEMORY;
    const long result = AnsiToUnicode(text, wide.get(), static_cast<int>(size));
    return result == S_OK ? Add_Param(VT_BSTR, wide.get()) : result;
}

long CDispParamsMaster::Add_Param(char16_t const* text) { return Add_Param(VT_BSTR, text); }

long CDispParamsMaster::Add_Param(bool value) {
    const unsigned char byte = value ? 1 : 0;
    return Add_Param(VT_BOOL, &byte);
}

long CDispParamsMaster::add_number(long long number) {
    const long refused = Pre_Add();
    if (refused != S_OK) return refused;
    VARIANT& added = *next_slot();
    VariantInit(&added);
    added.vt = std::in_range<std::int32_t>(number) ? VT_I4 : VT_I8;
    added.llVal = number;
    commit_added();
    return S_OK;
}

long CDispParamsMaster::add_too_large() {
    const long refused = Pre_Add();
    return refused != S_OK ? refused : E_INVALIDARG;
}

long CDispParamsMaster::add_object(VARTYPE vt, IUnknown* object) {
    return object != nullptr ? Add_Param(vt, &object) : Add_Null_Param();
}

long CDispParamsMaster::Add_Param(IUnknown* object) { return add_object(VT_UNKNOWN, object); }

long CDispParamsMaster::Add_Param(IDispatch* object) { return add_object(VT_DISPATCH, object); }

long CDispParamsMaster::Add_Null_Param() { return Add_Param(VT_NULL, nullptr); }

long CDispParamsMaster::Add_Param(VARIANT const* value) {
    if (value == nullptr) return Add_Null_Param();
    long result = Pre_Add();
    if (result != S_OK) return result;
    VARIANT added{};
    result = VariantCopy(&added, value);
    if (result != S_OK) return result;
    *next_slot() = added;
    commit_added();
    return S_OK;
}

// The whole.

DISPPARAMS* CDispParamsMaster::Get_Param_Array() {
    if (!attached && block != nullptr && block->rgvarg == nullptr)
        block->rgvarg = slots + kCapacity;
    return block;
}

long CDispParamsMaster::Clear_Params() {
    if (attached) return E_UNEXPECTED;
    if (block == nullptr) return S_OK;
    // A callee may have written what it liked into the block.
    const std::uint32_t count = std::min(std::exchange(block->cArgs, 0), kCapacity);
    block->rgvarg = nullptr;
    for (std::uint32_t i = 1; i <= count; ++i)
        VariantClear(&slots[kCapacity - i]);
    return S_OK;
}

bool CDispParamsMaster::copy_arguments_to(CDispParamsMaster& clone) {
    for (int i = 0; i < Count_Params(); ++i) {
        VARIANT const* const value = argument(i);
        if (value == nullptr || clone.Add_Param(value) != S_OK) return false;
    }
    return clone.Pre_Add() == S_OK || clone.Count_Params() != 0;
}

CDispParamsMaster* CDispParamsMaster::Clone() {
    std::unique_ptr<CDispParamsMaster> clone(new (std::nothrow) CDispParamsMaster);
    if (clone == nullptr || !copy_arguments_to(*clone) || clone->Get_Param_Array() == nullptr)
        return nullptr;
    clone->cloned = true;
    return clone.release();
}

}  // namespace tarnwillow
