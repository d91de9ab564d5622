// Calls of native objects on behalf of a script, the same for every engine. Results and failures
// are left in the frame; nothing here touches an engine.
#pragma once

#include <string_view>

#include "CallFrames.h"

namespace tarnwillow::script {

enum class Outcome {
    kValue,    ///< frame->result
    kMethod,   ///< the member is there to be called
    kUnknown,  ///< the object has no such name
    kFailure,  ///< frame->exception: source, description and scode are filled
};

/// Names that are the engine's own, whatever the object has.
bool is_engine_name(std::string_view name);

/// `name` is in the engine's text form. Reading and writing store the member's number in `id`.
Outcome read_member(CallFrame* frame, IDispatch* object, std::string_view name, DISPID* id);

/// Writes the frame's only argument.
Outcome write_member(CallFrame* frame, IDispatch* object, std::string_view name);

/// Calls with the frame's arguments.
Outcome call_member(CallFrame* frame, IDispatch* object, DISPID id);

}  // namespace tarnwillow::script
