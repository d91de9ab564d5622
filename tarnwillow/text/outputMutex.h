// The mutexes by which all processes together take turns with their output buffers.
#pragma once

#include "tarnwillow/core/CAutoMutex.h"

namespace tarnwillow::detail {

/// Opens and takes, or releases and closes, the mutex of that name through its holder; tells
/// whether that came about.
bool lock_all_buffers(CAutoMutex& holder, char const* name, bool lock);

/// Makes the two holders of the process, one for each width: the library does so at load.
void make_output_mutexes();

}  // namespace tarnwillow::detail
