// The hardware address of the machine.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// The address of the first Ethernet adapter that is up, as twelve hexadecimal digits in lower
/// case. If there is none, that of the table's last adapter, whatever it is; empty if that has no
/// address of six bytes, or nothing is known of adapters. Null without memory.
///
/// Every call looks anew. The text is the library's own and is overwritten by the next call: one
/// thread at a time.
TARNWILLOW_API char16_t const* Get_Mac_Address();

}  // namespace tarnwillow
