// The frame of every call: object tags, allocation procedures and two small helpers.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

/// The first field of a record that may be reached through a pointer from outside.
inline constexpr std::uint32_t kTagAlive = 0xCAFEBABE;
inline constexpr std::uint32_t kTagDestroyed = 0xDEADBEEF;

/// Give null on failure and never throw; sizes are bytes.
using AllocationProc = void* (*)(unsigned long size);
using FreeProc = void (*)(void* memory);

/// Memory from the global operator new, null on any failure.
TARNWILLOW_API void* Default_Allocation_ProcPtr(unsigned long size);

/// Gives memory back to the global operator delete. A fault in there ends quietly.
TARNWILLOW_API void Default_Free_ProcPtr(void* memory);

/// The pair for values that another component frees (CoTaskMemAlloc, CoTaskMemFree).
TARNWILLOW_API void* __COM_Alloc_Proc(unsigned long size);
TARNWILLOW_API void __COM_Free_Proc(void* memory);

/// Does nothing.
TARNWILLOW_API void NullProc();

/// Stops in the debugger: stands where only a programming error can lead.
TARNWILLOW_API void Debugger();

namespace detail {

/// Whether `record` can be read and starts with the tag of a living object. Any pointer may be
/// given.
bool has_living_tag(void const* record);

}  // namespace detail
}  // namespace tarnwillow
