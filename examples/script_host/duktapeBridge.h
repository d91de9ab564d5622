// The Duktape side of native objects. They are proxies, whose hidden target has the pointer and the
// finaliser.
//
// Functions that the engine calls, and those that such functions call, leave no object with a
// destructor on the stack while they use the engine: an error jumps over them. All of these but
// engine_of and native_of may raise one.
#pragma once

#include <duktape.h>

#include "EngineBase.h"

namespace tarnwillow::script::duktape {

/// Sets up the heap: the traps, the finaliser and the place for kept objects. For duk_safe_call.
duk_ret_t prepare_heap(duk_context* ctx, void*);

EngineBase& engine_of(duk_context* ctx);
[[noreturn]] void out_of_memory(duk_context* ctx);

/// The pointer behind a value; null if it is no native object.
IDispatch* native_of(duk_context* ctx, duk_idx_t index);
void set_native(duk_context* ctx, duk_idx_t index, IDispatch* object);

/// A new proxy, which takes a reference.
void push_native(duk_context* ctx, IDispatch* object);

/// The objects that native code holds, and one of them.
void push_objects(duk_context* ctx);
void push_kept(duk_context* ctx, long number);

void push_text(duk_context* ctx, BSTR text);
void push_variant(duk_context* ctx, const VARIANT& variant);

/// Into an empty variant. Undefined stays empty.
void to_variant(duk_context* ctx, duk_idx_t index, VARIANT* out);

}  // namespace tarnwillow::script::duktape
