#include "tarnwillow/automation/CObjectDispatchWrapper.h"

#include <new>

#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/automation/exceptionInfo.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kErrorRoom = 1024;

std::int32_t hresult(long status) { return static_cast<std::int32_t>(status); }

}  // namespace

CObjectDispatchWrapper::~CObjectDispatchWrapper() {
    if (target != nullptr && !detached) target->Wrapper_Released();
    *static_cast<volatile std::uint32_t*>(&tag) = kTagDestroyed;
}

std::int32_t CObjectDispatchWrapper::QueryInterface(GUID const& id, void** object) {
    if (object == nullptr) return hresult(E_INVALIDARG);
    *object = nullptr;
    if (id == IID_IUnknown || id == IID_IObjectDispatchWrapper)
        *object = static_cast<IObjectDispatchWrapper*>(this);
    else if (id == IID_IDispatch)
        *object = static_cast<IDispatch*>(this);
    else
        return hresult(E_NOINTERFACE);
    AddRef();
    return S_OK;
}

std::uint32_t CObjectDispatchWrapper::AddRef() { return references.add(); }

std::uint32_t CObjectDispatchWrapper::Release() {
    std::uint32_t left = 0;
    if (references.release(&left)) delete this;
    return left;
}

long CObjectDispatchWrapper::Attach_Target(void* new_target) {
    if (target != nullptr) return E_UNEXPECTED;
    if (new_target == nullptr) return E_INVALIDARG;
    target = static_cast<IScriptObjectTarget*>(new_target);
    return S_OK;
}

long CObjectDispatchWrapper::Get_Target_Value(unsigned long* out) {
    if (target == nullptr || detached) return E_UNEXPECTED;
    if (out == nullptr) return E_INVALIDARG;
    *out = target->Get_Target_Value();
    return S_OK;
}

long CObjectDispatchWrapper::Get_Dispatch_Variant(VARIANT* out) {
    return detail::store_dispatch(this, out);
}

long CObjectDispatchWrapper::Push_To_Array(IDispatch* array) {
    CDispatchMaster receiver(array);
    CDispParamsMaster params;
    const long added = params.Add_Param(static_cast<IDispatch*>(this));
    return added == S_OK ? receiver.Invoke_Method(u"push", &params, nullptr) : added;
}

long CObjectDispatchWrapper::Detach_Target() {
    detached = true;
    return S_OK;
}

std::int32_t CObjectDispatchWrapper::GetTypeInfoCount(std::uint32_t*) { return hresult(E_NOTIMPL); }

std::int32_t CObjectDispatchWrapper::GetTypeInfo(std::uint32_t, std::uint32_t, ITypeInfo**) {
    return hresult(E_NOTIMPL);
}

std::int32_t CObjectDispatchWrapper::GetIDsOfNames(GUID const&, char16_t** names,
                                                   std::uint32_t count, std::uint32_t,
                                                   DISPID* ids) {
    if (target == nullptr) return hresult(E_UNEXPECTED);
    if (count != 0 && (names == nullptr || ids == nullptr)) return hresult(E_INVALIDARG);
    for (std::uint32_t i = 0; i < count; ++i) {
        ids[i] = DISPID_UNKNOWN;
        if (detached) continue;
        if (names[i] == nullptr) return hresult(E_INVALIDARG);
        const long id = target->Find_Member(names[i]);
        if (id == DISPID_UNKNOWN) return hresult(DISP_E_UNKNOWNNAME);
        ids[i] = static_cast<DISPID>(id);
    }
    return S_OK;
}

long CObjectDispatchWrapper::pass_on(long id, std::uint16_t flags, DISPPARAMS* params,
                                     VARIANT* result, char16_t* error_text) {
    if (flags == DISPATCH_PROPERTYGET) return target->Get_Member(id, result, error_text);
    if (flags == DISPATCH_PROPERTYPUT) {
        if (params == nullptr || params->rgvarg == nullptr || params->cArgs == 0)
            return E_INVALIDARG;
        return target->Put_Member(id, params->rgvarg, error_text);
    }
    if ((flags & DISPATCH_METHOD) == 0) return E_NOTIMPL;
    return target->Call_Member(id, params, result, error_text);
}

std::int32_t CObjectDispatchWrapper::Invoke(DISPID id, GUID const& interface_id, std::uint32_t,
                                            std::uint16_t flags, DISPPARAMS* params,
                                            VARIANT* result, EXCEPINFO* exception, std::uint32_t*) {
    if (target == nullptr) return hresult(E_UNEXPECTED);
    if (detached || id == DISPID_UNKNOWN) {
        if (result == nullptr) return S_OK;
        VariantInit(result);
        result->vt = VT_NULL;
        return S_OK;
    }
    if (interface_id != IID_NULL) return hresult(DISP_E_UNKNOWNINTERFACE);
    if (flags == DISPATCH_PROPERTYGET && result == nullptr) return hresult(E_INVALIDARG);
    AddRef();  // the target may release what the caller holds
    char16_t error_text[kErrorRoom] = {};
    const long status = pass_on(id, flags, params, result, error_text);
    Release();
    if (status == S_OK || exception == nullptr) return hresult(status);
    error_text[kErrorRoom - 1] = 0;
    detail::fill_exception(exception, status, u"tarnwillow", error_text);
    return hresult(DISP_E_EXCEPTION);
}

IObjectDispatchWrapper* CreateObjectDispatchWrapper() {
    return new (std::nothrow) CObjectDispatchWrapper;
}

}  // namespace tarnwillow
