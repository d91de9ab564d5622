// What a guard knows of a caught fault, in the shape that reports and dumps take.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// ExceptionCode of a thrown value. A processor fault has its signal number there.
inline constexpr std::uint32_t EXCEPTION_THROWN_VALUE = 0xE0000001;

struct EXCEPTION_RECORD {
    std::uint32_t ExceptionCode;  ///< signal number, or EXCEPTION_THROWN_VALUE
    void* ExceptionAddress;       ///< the instruction at fault; null for a thrown value
    void* AccessedAddress;        ///< the memory asked for, as the kernel tells it; else null
};

/// Lives as long as the report that it is handed to.
struct _EXCEPTION_POINTERS {
    EXCEPTION_RECORD* ExceptionRecord;
    void* ContextRecord;  ///< the ucontext_t of the fault; null for a thrown value
};
using EXCEPTION_POINTERS = _EXCEPTION_POINTERS;

}  // namespace tarnwillow
