// What scripts reach of native objects.
#include <cstdlib>

#include "duktapeBridge.h"
#include "nativeCalls.h"

namespace tarnwillow::script::duktape {

namespace {

#define TARGET_KEY DUK_HIDDEN_SYMBOL("target")
#define ID_KEY DUK_HIDDEN_SYMBOL("id")

CallFrame* begin_call(duk_context* ctx, std::uint32_t arguments) {
    CallFrame* const frame = engine_of(ctx).frames().begin(arguments);
    if (frame == nullptr) out_of_memory(ctx);
    return frame;
}

[[noreturn]] void throw_failure(duk_context* ctx, CallFrame* frame) {
    const EXCEPINFO& exception = frame->exception;
    // Without a place of its own the error is the script's, where it made the call.
    duk_push_error_object_raw(ctx, DUK_ERR_ERROR, nullptr, 0, "%s", "");
    push_text(ctx, exception.bstrDescription);
    duk_put_prop_literal(ctx, -2, "message");
    push_text(ctx, exception.bstrSource);
    duk_put_prop_literal(ctx, -2, "source");
    duk_push_int(ctx, exception.scode);
    duk_put_prop_literal(ctx, -2, "number");
    engine_of(ctx).frames().end(frame);
    (void)duk_throw(ctx);
    std::abort();
}

duk_ret_t finish_call(duk_context* ctx, CallFrame* frame, Outcome outcome) {
    if (outcome == Outcome::kFailure) throw_failure(ctx, frame);
    push_variant(ctx, frame->result);
    engine_of(ctx).frames().end(frame);
    return 1;
}

duk_ret_t call_native(duk_context* ctx) {
    const auto count = static_cast<std::uint32_t>(duk_get_top(ctx));
    duk_push_current_function(ctx);
    duk_get_prop_literal(ctx, -1, ID_KEY);
    duk_get_prop_literal(ctx, -2, TARGET_KEY);
    IDispatch* const object = native_of(ctx, -1);
    if (object == nullptr) return 0;
    CallFrame* const frame = begin_call(ctx, count);
    for (std::uint32_t i = 0; i < count; ++i)
        to_variant(ctx, static_cast<duk_idx_t>(i), frame->argument(i));
    return finish_call(ctx, frame, call_member(frame, object, duk_get_int(ctx, -2)));
}

void push_method(duk_context* ctx, duk_idx_t target, DISPID id) {
    duk_push_c_function(ctx, call_native, DUK_VARARGS);
    duk_dup(ctx, target);
    duk_put_prop_literal(ctx, -2, TARGET_KEY);
    duk_push_int(ctx, id);
    duk_put_prop_literal(ctx, -2, ID_KEY);
}

// Traps of the proxy: (target, key, ...).

bool is_members_key(duk_context* ctx) {
    return !duk_is_symbol(ctx, 1) && !is_engine_name(duk_to_string(ctx, 1)) &&
           native_of(ctx, 0) != nullptr;
}

duk_ret_t trap_get(duk_context* ctx) {
    if (!is_members_key(ctx)) {
        duk_dup(ctx, 1);
        duk_get_prop(ctx, 0);
        return 1;
    }
    CallFrame* const frame = begin_call(ctx, 0);
    duk_size_t length = 0;
    char const* const name = duk_get_lstring(ctx, 1, &length);
    DISPID id = DISPID_UNKNOWN;
    const Outcome outcome = read_member(frame, native_of(ctx, 0), {name, length}, &id);
    if (outcome != Outcome::kMethod) return finish_call(ctx, frame, outcome);
    engine_of(ctx).frames().end(frame);
    push_method(ctx, 0, id);
    return 1;
}

duk_ret_t trap_set(duk_context* ctx) {
    if (!is_members_key(ctx)) return 0;
    CallFrame* const frame = begin_call(ctx, 1);
    to_variant(ctx, 2, frame->argument(0));
    duk_size_t length = 0;
    char const* const name = duk_get_lstring(ctx, 1, &length);
    if (write_member(frame, native_of(ctx, 0), {name, length}) == Outcome::kFailure)
        throw_failure(ctx, frame);
    engine_of(ctx).frames().end(frame);
    duk_push_true(ctx);
    return 1;
}

duk_ret_t finalise(duk_context* ctx) {
    IDispatch* const object = native_of(ctx, 0);
    if (object == nullptr) return 0;
    set_native(ctx, 0, nullptr);
    engine_of(ctx).release_native(object);
    return 0;
}

}  // namespace

duk_ret_t prepare_heap(duk_context* ctx, void*) {
    duk_push_heap_stash(ctx);
    duk_push_object(ctx);
    duk_push_c_function(ctx, trap_get, 3);
    duk_put_prop_literal(ctx, -2, "get");
    duk_push_c_function(ctx, trap_set, 4);
    duk_put_prop_literal(ctx, -2, "set");
    duk_put_prop_literal(ctx, -2, "handler");
    duk_push_c_function(ctx, finalise, 1);
    duk_put_prop_literal(ctx, -2, "finalizer");
    duk_push_bare_object(ctx);
    duk_put_prop_literal(ctx, -2, "objects");
    // Its threads would call native code on a stack of their own.
    duk_push_global_object(ctx);
    duk_del_prop_literal(ctx, -1, "Duktape");
    return 0;
}

}  // namespace tarnwillow::script::duktape
