// A script's object as native code holds it.
#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <string>

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow::script {

/// What an engine does with the objects that native code holds, by their numbers. Nothing here
/// raises: a status, with the text of a script's error in `failure`, if that is not null.
class ObjectKeeper {
public:
    virtual bool has_member(long object, char const* name) = 0;
    virtual long get_member(long object, char const* name, VARIANT* result, BSTR* failure) = 0;
    virtual long put_member(long object, char const* name, VARIANT const* value, BSTR* failure) = 0;
    virtual long call_member(long object, char const* name, DISPPARAMS const* params,
                             VARIANT* result, BSTR* failure) = 0;

    /// May come at any time, also while the engine collects its garbage.
    virtual void forget(long object) = 0;

protected:
    ~ObjectKeeper() = default;
};

/// Leads to the engine as long as there is one.
struct KeeperLink {
    ObjectKeeper* keeper;
};

class ScriptObject final : public IDispatch {
public:
    /// Begins with one reference. `object` is the keeper's number for it.
    ScriptObject(std::shared_ptr<KeeperLink> link, long object);
    ScriptObject(const ScriptObject&) = delete;
    ScriptObject& operator=(const ScriptObject&) = delete;

    /// The number, if `object` is a script's object of that keeper; else 0.
    static long number_of(IDispatch* object, ObjectKeeper const* keeper);

    std::int32_t QueryInterface(GUID const& id, void** object) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;
    std::int32_t GetTypeInfoCount(std::uint32_t* count) override;
    std::int32_t GetTypeInfo(std::uint32_t index, std::uint32_t locale, ITypeInfo** info) override;
    std::int32_t GetIDsOfNames(GUID const& interface_id, char16_t** names, std::uint32_t count,
                               std::uint32_t locale, DISPID* ids) override;
    std::int32_t Invoke(DISPID id, GUID const& interface_id, std::uint32_t locale,
                        std::uint16_t flags, DISPPARAMS* params, VARIANT* result,
                        EXCEPINFO* exception, std::uint32_t* argument_error) override;

private:
    ~ScriptObject();

    DISPID number_for(char16_t const* name);
    long pass_on(char const* name, std::uint16_t flags, DISPPARAMS const* params, VARIANT* result,
                 BSTR* failure);

    std::shared_ptr<KeeperLink> link_;
    long object_;
    std::deque<std::string> names_;  ///< of the members asked for; the place is the number
    std::atomic<std::uint32_t> references_{1};
};

/// Counts for live_references().
void count_reference(long change);

}  // namespace tarnwillow::script
