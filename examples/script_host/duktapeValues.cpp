#include <cstdlib>
#include <string>

#include "duktapeBridge.h"
#include "scriptValues.h"

namespace tarnwillow::script::duktape {

#define NATIVE_KEY DUK_HIDDEN_SYMBOL("native")

EngineBase& engine_of(duk_context* ctx) {
    duk_memory_functions functions;
    duk_get_memory_functions(ctx, &functions);
    return *static_cast<EngineBase*>(functions.udata);
}

[[noreturn]] void out_of_memory(duk_context* ctx) {
    (void)duk_error(ctx, DUK_ERR_ERROR, "out of memory");
    std::abort();
}

// A hidden key passes by the traps.
IDispatch* native_of(duk_context* ctx, duk_idx_t index) {
    if (!duk_is_object(ctx, index)) return nullptr;
    duk_get_prop_literal(ctx, index, NATIVE_KEY);
    auto* const object = static_cast<IDispatch*>(duk_get_pointer(ctx, -1));
    duk_pop(ctx);
    return object;
}

void set_native(duk_context* ctx, duk_idx_t index, IDispatch* object) {
    index = duk_normalize_index(ctx, index);
    duk_push_pointer(ctx, object);
    duk_put_prop_literal(ctx, index, NATIVE_KEY);
}

// The place for the pointer and the finaliser stand before the reference is taken: no error can
// come between them.
void push_native(duk_context* ctx, IDispatch* object) {
    duk_push_heap_stash(ctx);
    duk_push_object(ctx);
    set_native(ctx, -1, nullptr);
    duk_get_prop_literal(ctx, -2, "finalizer");
    duk_set_finalizer(ctx, -2);
    object->AddRef();
    count_reference(1);
    set_native(ctx, -1, object);
    duk_get_prop_literal(ctx, -2, "handler");
    duk_push_proxy(ctx, 0);
    duk_remove(ctx, -2);
}

void push_objects(duk_context* ctx) {
    duk_push_heap_stash(ctx);
    duk_get_prop_literal(ctx, -1, "objects");
    duk_remove(ctx, -2);
}

void push_kept(duk_context* ctx, long number) {
    push_objects(ctx);
    duk_get_prop_index(ctx, -1, static_cast<duk_uarridx_t>(number));
    duk_remove(ctx, -2);
}

void push_text(duk_context* ctx, BSTR text) {
    std::string const* const converted = engine_of(ctx).text_room().convert(text, Zero::kPlain);
    if (converted == nullptr) out_of_memory(ctx);
    duk_push_lstring(ctx, converted->data(), converted->size());
}

namespace {

void push_object(duk_context* ctx, IDispatch* object) {
    const long number = ScriptObject::number_of(object, &engine_of(ctx));
    if (number != 0)
        push_kept(ctx, number);
    else
        push_native(ctx, object);
}

}  // namespace

void push_variant(duk_context* ctx, const VARIANT& variant) {
    const ScriptValue value = value_of(variant);
    switch (value.kind) {
        case Kind::kUndefined:
            duk_push_undefined(ctx);
            return;
        case Kind::kNull:
            duk_push_null(ctx);
            return;
        case Kind::kBool:
            duk_push_boolean(ctx, value.number != 0);
            return;
        case Kind::kNumber:
            duk_push_number(ctx, value.number);
            return;
        case Kind::kText:
            push_text(ctx, value.text);
            return;
        case Kind::kObject:
            push_object(ctx, value.object);
            return;
    }
}

namespace {

IDispatch* keep_object(duk_context* ctx, duk_idx_t index) {
    EngineBase& engine = engine_of(ctx);
    const long number = engine.next_number();
    index = duk_normalize_index(ctx, index);
    push_objects(ctx);
    duk_dup(ctx, index);
    duk_put_prop_index(ctx, -2, static_cast<duk_uarridx_t>(number));
    duk_pop(ctx);
    IDispatch* const held = engine.hold(number);
    if (held == nullptr) out_of_memory(ctx);
    return held;
}

void text_to_variant(duk_context* ctx, duk_idx_t index, VARIANT* out) {
    if (duk_is_symbol(ctx, index)) return;
    duk_size_t length = 0;
    char const* const text = duk_get_lstring(ctx, index, &length);
    out->vt = VT_BSTR;
    out->bstrVal = from_engine_text({text, length});
    if (out->bstrVal == nullptr) out_of_memory(ctx);
}

void object_to_variant(duk_context* ctx, duk_idx_t index, VARIANT* out) {
    IDispatch* object = native_of(ctx, index);
    if (object != nullptr)
        object->AddRef();
    else
        object = keep_object(ctx, index);
    set_object(out, object);
}

}  // namespace

void to_variant(duk_context* ctx, duk_idx_t index, VARIANT* out) {
    switch (duk_get_type(ctx, index)) {
        case DUK_TYPE_NULL:
            set_null(out);
            return;
        case DUK_TYPE_BOOLEAN:
            set_bool(out, duk_get_boolean(ctx, index) != 0);
            return;
        case DUK_TYPE_NUMBER:
            set_number(out, duk_get_number(ctx, index));
            return;
        case DUK_TYPE_STRING:
            text_to_variant(ctx, index, out);
            return;
        case DUK_TYPE_OBJECT:
        case DUK_TYPE_LIGHTFUNC:
            object_to_variant(ctx, index, out);
            return;
        default:
            return;
    }
}

}  // namespace tarnwillow::script::duktape
