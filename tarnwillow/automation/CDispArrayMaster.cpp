#include "tarnwillow/automation/CDispArrayMaster.h"

#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/heldValues.h"
#include "tarnwillow/containers/CIterator.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace {

bool add_element(CDispParamsMaster& params, const VARIANT& element, long* result) {
    switch (element.vt) {
        case VT_I4:
            *result = params.Add_Param(element.lVal);
            return true;
        case VT_BSTR:
            *result = params.Add_Param(&element);
            return true;
        case VT_DISPATCH:
            *result = params.Add_Param(element.pdispVal);
            return true;
        case VT_BOOL:
            *result = params.Add_Param(element.boolVal == VARIANT_TRUE);
            return true;
        default:
            return false;
    }
}

}  // namespace

CDispArrayMaster::CDispArrayMaster(IDispatch* object) : array(object), elements(nullptr) {}

CDispArrayMaster::~CDispArrayMaster() {
    CIterator walk;
    for (void* value = walk.Iterate(&elements); walk.More(); value = walk.Next())
        VariantClear(static_cast<VARIANT*>(value));
}

long CDispArrayMaster::put_back(const VARIANT& element) {
    CDispParamsMaster params;
    long result = S_OK;
    if (!add_element(params, element, &result)) return E_INVALIDARG;
    if (result == S_OK) array.Invoke_Method(u"push", &params, nullptr);
    return result;
}

long CDispArrayMaster::keep(VARIANT const* element) try {
    return elements.Add_Volatile(element, sizeof(VARIANT)) != nullptr ? S_OK : E_OUTOFMEMORY;
} catch (long failure) {
    return failure;
}

long CDispArrayMaster::load_next() {
    detail::HeldVariant element;
    array.Invoke_Method(u"shift", nullptr, element.get());  // a failure leaves it empty
    long result = put_back(*element.get());
    if (result == S_OK) result = keep(element.get());
    if (result == S_OK) element.release();
    return result;
}

long CDispArrayMaster::Load_Array() {
    if (elements.Entries() > 0) return E_UNEXPECTED;
    long length = 0;
    if (array.Get_Property(u"length", &length) != S_OK) return E_INVALIDARG;
    for (long i = 0; i < length; ++i) {
        const long result = load_next();
        if (result != S_OK) return result;
    }
    return S_OK;
}

long CDispArrayMaster::Get_Length() {
    const long loaded = elements.Entries();
    if (loaded > 0) return loaded;
    long length = 0;
    return array.Get_Property(u"length", &length) == S_OK ? length : 0;
}

VARIANT* CDispArrayMaster::operator[](int index) {
    if (index < 0) return nullptr;
    return static_cast<VARIANT*>(elements.Get_Indexed_Entry(index));
}

}  // namespace tarnwillow
