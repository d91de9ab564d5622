// Reached through its interfaces only: see IObjectDispatchWrapper.h.
#pragma once

#include <cstdint>

#include "tarnwillow/automation/IObjectDispatchWrapper.h"
#include "tarnwillow/automation/referenceCount.h"
#include "tarnwillow/core/frame.h"

namespace tarnwillow {

class CObjectDispatchWrapper final : public IObjectDispatchWrapper, public IDispatch {
public:
    CObjectDispatchWrapper() = default;
    CObjectDispatchWrapper(const CObjectDispatchWrapper&) = delete;
    CObjectDispatchWrapper& operator=(const CObjectDispatchWrapper&) = delete;

    std::int32_t QueryInterface(GUID const& id, void** object) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;

    long Attach_Target(void* new_target) override;
    long Get_Target_Value(unsigned long* out) override;
    long Get_Dispatch_Variant(VARIANT* out) override;
    long Push_To_Array(IDispatch* array) override;
    long Detach_Target() override;
    bool Is_Destroying() override { return references.destroying(); }

    std::int32_t GetTypeInfoCount(std::uint32_t* count) override;
    std::int32_t GetTypeInfo(std::uint32_t index, std::uint32_t locale, ITypeInfo** info) override;
    std::int32_t GetIDsOfNames(GUID const& interface_id, char16_t** names, std::uint32_t count,
                               std::uint32_t locale, DISPID* ids) override;
    std::int32_t Invoke(DISPID id, GUID const& interface_id, std::uint32_t locale,
                        std::uint16_t flags, DISPPARAMS* params, VARIANT* result,
                        EXCEPINFO* exception, std::uint32_t* argument_error) override;

private:
    ~CObjectDispatchWrapper();

    long pass_on(long id, std::uint16_t flags, DISPPARAMS* params, VARIANT* result,
                 char16_t* error_text);

    detail::ReferenceCount references;
    std::uint32_t tag = kTagAlive;
    IScriptObjectTarget* target = nullptr;
    bool detached = false;
};

}  // namespace tarnwillow
