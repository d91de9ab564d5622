#include "ScriptObject.h"

#include <algorithm>
#include <new>

#include "ScriptEngine.h"
#include "engineText.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::script {

namespace {

// Asked of an object to learn whether it is one of these.
constexpr GUID kScriptObjectId{
    0x6D0B7C11, 0x3B5E, 0x4C0A, {0x9A, 0x41, 0x0E, 0x52, 0x77, 0xC8, 0x1F, 0x36}};

std::atomic<long> references{0};

std::int32_t hresult(long status) { return static_cast<std::int32_t>(status); }

}  // namespace

void count_reference(long change) { references += change; }

long live_references() { return references; }

ScriptObject::ScriptObject(std::shared_ptr<KeeperLink> link, long object)
    : link_(std::move(link)), object_(object) {
    count_reference(1);
}

ScriptObject::~ScriptObject() {
    count_reference(-1);
    if (link_->keeper != nullptr) link_->keeper->forget(object_);
}

long ScriptObject::number_of(IDispatch* object, ObjectKeeper const* keeper) {
    void* found = nullptr;
    if (object->QueryInterface(kScriptObjectId, &found) != S_OK || found == nullptr) return 0;
    auto* const script_object = static_cast<ScriptObject*>(found);
    const long number = script_object->link_->keeper == keeper ? script_object->object_ : 0;
    script_object->Release();
    return number;
}

std::int32_t ScriptObject::QueryInterface(GUID const& id, void** object) {
    const bool known = id == IID_IUnknown || id == IID_IDispatch || id == kScriptObjectId;
    *object = known ? this : nullptr;
    if (!known) return hresult(E_NOINTERFACE);
    AddRef();
    return S_OK;
}

std::uint32_t ScriptObject::AddRef() { return ++references_; }

std::uint32_t ScriptObject::Release() {
    const std::uint32_t left = --references_;
    if (left == 0) delete this;
    return left;
}

std::int32_t ScriptObject::GetTypeInfoCount(std::uint32_t*) { return hresult(E_NOTIMPL); }

std::int32_t ScriptObject::GetTypeInfo(std::uint32_t, std::uint32_t, ITypeInfo**) {
    return hresult(E_NOTIMPL);
}

DISPID ScriptObject::number_for(char16_t const* name) {
    std::string text = to_engine_text(name, Zero::kTwoBytes);
    if (!link_->keeper->has_member(object_, text.c_str())) return DISPID_UNKNOWN;
    const auto known = std::find(names_.begin(), names_.end(), text);
    const auto place = known - names_.begin();
    if (known == names_.end()) names_.push_back(std::move(text));
    return static_cast<DISPID>(place);
}

std::int32_t ScriptObject::GetIDsOfNames(GUID const&, char16_t** names, std::uint32_t count,
                                         std::uint32_t, DISPID* ids) try {
    if (link_->keeper == nullptr) return hresult(E_UNEXPECTED);
    for (std::uint32_t i = 0; i < count; ++i) {
        ids[i] = number_for(names[i]);
        if (ids[i] == DISPID_UNKNOWN) return hresult(DISP_E_UNKNOWNNAME);
    }
    return S_OK;
} catch (const std::bad_alloc&) {
    return hresult(E_OUTOFMEMORY);
}

long ScriptObject::pass_on(char const* name, std::uint16_t flags, DISPPARAMS const* params,
                           VARIANT* result, BSTR* failure) {
    VARIANT dropped{};
    VARIANT* const out = result != nullptr ? result : &dropped;
    long status = E_NOTIMPL;
    if (flags == DISPATCH_PROPERTYGET)
        status = link_->keeper->get_member(object_, name, out, failure);
    else if (flags == DISPATCH_PROPERTYPUT && params != nullptr && params->cArgs > 0)
        status = link_->keeper->put_member(object_, name, params->rgvarg, failure);
    else if ((flags & DISPATCH_METHOD) != 0)
        status = link_->keeper->call_member(object_, name, params, out, failure);
    VariantClear(&dropped);
    return status;
}

std::int32_t ScriptObject::Invoke(DISPID id, GUID const&, std::uint32_t, std::uint16_t flags,
                                  DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                                  std::uint32_t*) {
    if (link_->keeper == nullptr) return hresult(E_UNEXPECTED);
    if (id < 0 || static_cast<std::size_t>(id) >= names_.size())
        return hresult(DISP_E_MEMBERNOTFOUND);
    BSTR failure = nullptr;
    AddRef();  // the script may give up what the caller holds
    const long status = pass_on(names_[static_cast<std::size_t>(id)].c_str(), flags, params, result,
                                exception != nullptr ? &failure : nullptr);
    Release();
    if (status == S_OK || exception == nullptr) return hresult(status);
    *exception = EXCEPINFO{};
    exception->scode = hresult(status == DISP_E_EXCEPTION ? E_FAIL : status);
    exception->bstrSource = SysAllocString(u"script");
    exception->bstrDescription = failure;
    return hresult(DISP_E_EXCEPTION);
}

}  // namespace tarnwillow::script
