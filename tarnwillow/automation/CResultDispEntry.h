// One member of a result object.
#pragma once

#include <cstdint>

#include "tarnwillow/automation/IResultDispatchInterface.h"
#include "tarnwillow/core/frame.h"

namespace tarnwillow {

/// A value, kept as bytes by its type, or a method, whose type is VT_EMPTY.
class CResultDispEntry {
public:
    static constexpr std::size_t kNameRoom = 256;

    /// `entry_name` is cut at 255 units.
    CResultDispEntry(char16_t const* entry_name, std::uint32_t place);
    ~CResultDispEntry();
    CResultDispEntry(const CResultDispEntry&) = delete;
    CResultDispEntry& operator=(const CResultDispEntry&) = delete;

    /// Replaces what is there. Sizes are those of IResultDispatchInterface::Set_Property; the
    /// failures too, and they change nothing.
    long Store(VARTYPE new_type, void const* bytes, unsigned long count);

    void Store_Method(ResultMethodProc new_procedure, long first, long second);

    /// Makes `out` the value, as a script gets it. Only for the types that a script can read.
    long Load(VARIANT* out) const;

    /// Runs the method in a guard. `returned` tells whether it came back by itself; if not, the
    /// status is E_FAIL.
    long Call_User_Method(DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                          unsigned int* argument_error, IResultDispatchInterface* object,
                          bool* returned);

    bool is_living() const { return tag == kTagAlive; }

    VARTYPE type = VT_NULL;
    char16_t name[kNameRoom];
    const std::uint32_t ordinal;  ///< place in the order of adding

private:
    /// Values of up to eight bytes lie in the entry itself.
    union Bytes {
        unsigned char small[8];
        IDispatch* object;
        void* heap;
    };

    bool on_heap() const { return size > sizeof(Bytes); }
    void const* content() const { return on_heap() ? data.heap : data.small; }
    void replace_content(VARTYPE new_type, unsigned long new_size, Bytes fresh);

    unsigned long size = 0;
    Bytes data{};
    ResultMethodProc procedure = nullptr;
    long first_user_value = 0;
    long second_user_value = 0;
    std::uint32_t tag = kTagAlive;
};

}  // namespace tarnwillow
