// Reached through its interfaces only: see IResultDispatchInterface.h.
#pragma once

#include <cstdint>
#include <memory>

#include "tarnwillow/automation/IResultDispatchInterface.h"
#include "tarnwillow/automation/referenceCount.h"
#include "tarnwillow/containers/CHashedCollection.h"
#include "tarnwillow/core/frame.h"

namespace tarnwillow {

class CResultDispEntry;

/// The numbers under which scripts know the members.
inline constexpr DISPID kLengthId = 1;
inline constexpr DISPID kMemberNameId = 3;
inline constexpr DISPID kFirstMemberId = 0x1000;

/// Towards a script: an object whose every name exists. A name that was never set becomes a member
/// with an empty text when the script asks for it. A name of digits is a place in the order of
/// adding. `length` is the number of members and `memberName(i)` a member's name, as long as no
/// member is called so and there is any member at all.
class CResultDispatch final : public IResultDispatchInterface,
                              public IResultDispatchInterface2,
                              public IDispatch {
public:
    /// Throws `long` E_OUTOFMEMORY as CHashedCollection does.
    CResultDispatch();
    CResultDispatch(const CResultDispatch&) = delete;
    CResultDispatch& operator=(const CResultDispatch&) = delete;

    std::int32_t QueryInterface(GUID const& id, void** object) override;
    std::uint32_t AddRef() override;
    std::uint32_t Release() override;

    using IResultDispatchInterface::Set_Property;
    long Set_Property(char16_t const* name, unsigned short type, void const* data,
                      unsigned long size) override;
    long Set_Property(char16_t const* name, IDispatch* object) override;
    long Set_Property(char16_t const* name, bool value) override;
    long Set_Property(char16_t const* name, long long value) override;
    long Set_Property(char16_t const* name, unsigned long value) override;
    long Set_Property(char16_t const* name, long value) override;
    long Set_Property(char16_t const* name, char16_t* text) override;
    long Set_Property(char16_t const* name, char* text) override;
    long Set_Property(char16_t const* name, char16_t const* text) override;
    long Set_Property(char16_t const* name, char const* text) override;
    long Get_Dispatch_Variant(VARIANT* out) override;
    long Push_To_Array(IDispatch* array) override;

    long Set_Method(char16_t const* name, ResultMethodProc procedure, long first_user_value,
                    long second_user_value) override;

    std::int32_t GetTypeInfoCount(std::uint32_t* count) override;
    std::int32_t GetTypeInfo(std::uint32_t index, std::uint32_t locale, ITypeInfo** info) override;
    std::int32_t GetIDsOfNames(GUID const& interface_id, char16_t** names, std::uint32_t count,
                               std::uint32_t locale, DISPID* ids) override;
    std::int32_t Invoke(DISPID id, GUID const& interface_id, std::uint32_t locale,
                        std::uint16_t flags, DISPPARAMS* params, VARIANT* result,
                        EXCEPINFO* exception, std::uint32_t* argument_error) override;

private:
    /// A name as the members are found by: cut at 255 units, in upper case.
    struct Key {
        explicit Key(char16_t const* name);
        char16_t text[256];
    };

    /// One call of Invoke, passed on whole.
    struct Call {
        DISPPARAMS* params;
        VARIANT* result;
        EXCEPINFO* exception;
        std::uint32_t* argument_error;
    };

    static constexpr std::uint32_t kRecentNames = 16;

    ~CResultDispatch();

    long initialise();
    CResultDispEntry* find(const Key& key);
    CResultDispEntry* at_position(long position) const;
    CResultDispEntry* living_entry(DISPID id) const;
    long set(char16_t const* name, VARTYPE type, void const* data, unsigned long size);
    long add(const Key& key, std::unique_ptr<CResultDispEntry> entry);
    bool make_room();

    CResultDispEntry*& recent(char16_t const* name);
    bool resolve(char16_t const* name, const Key& key, DISPID* id);
    long resolve_or_create(const Key& key, char16_t const* name, DISPID* id);
    long id_of_name(char16_t const* name, DISPID* id);
    long read_pseudo_member(DISPID id, VARIANT* result);
    long read_member(const CResultDispEntry& entry, VARIANT* result);
    long write_member(CResultDispEntry& entry, DISPPARAMS const* params);
    long read_member_name(const Call& call);
    long call_member(CResultDispEntry& entry, const Call& call);
    long perform(DISPID id, std::uint16_t flags, const Call& call);
    static long tell_failure(long status, const Call& call);

    std::uint32_t tag = kTagAlive;
    detail::ReferenceCount references;
    CHashedCollection members;             ///< by key
    CResultDispEntry** entries = nullptr;  ///< owned, in the order of adding
    std::uint32_t count = 0;
    std::uint32_t room = 0;
    CResultDispEntry* recents[kRecentNames] = {};  ///< found by name last, by how the name begins
    bool initialised = false;
};

}  // namespace tarnwillow
