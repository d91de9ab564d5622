// Native objects are proxies, whose hidden target has the pointer and the finaliser.
//
// Functions that the engine calls, and those that such functions call, leave no object with a
// destructor on the stack while they use the engine: an error jumps over them.
#include <duktape.h>

#include <cstdio>
#include <cstdlib>
#include <new>

#include "EngineBase.h"
#include "nativeCalls.h"
#include "scriptValues.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::script {

namespace {

#define NATIVE_KEY DUK_HIDDEN_SYMBOL("native")
#define TARGET_KEY DUK_HIDDEN_SYMBOL("target")
#define ID_KEY DUK_HIDDEN_SYMBOL("id")

EngineBase& engine_of(duk_context* ctx) {
    duk_memory_functions functions;
    duk_get_memory_functions(ctx, &functions);
    return *static_cast<EngineBase*>(functions.udata);
}

[[noreturn]] void out_of_memory(duk_context* ctx) {
    (void)duk_error(ctx, DUK_ERR_ERROR, "out of memory");
    std::abort();
}

/// The pointer behind a value; null if it is no native object. A hidden key passes by the traps.
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

void push_object(duk_context* ctx, IDispatch* object) {
    const long number = ScriptObject::number_of(object, &engine_of(ctx));
    if (number != 0)
        push_kept(ctx, number);
    else
        push_native(ctx, object);
}

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

/// Into an empty variant. Undefined stays empty.
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

CallFrame* begin_call(duk_context* ctx, std::uint32_t arguments) {
    CallFrame* const frame = engine_of(ctx).frames().begin(arguments);
    if (frame == nullptr) out_of_memory(ctx);
    return frame;
}

[[noreturn]] void throw_failure(duk_context* ctx, CallFrame* frame) {
    const EXCEPINFO& exception = frame->exception;
    duk_push_error_object(ctx, DUK_ERR_ERROR, "%s", "");
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

// What scripts reach.

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

// What native code asks for, each inside a protected call.

struct Task {
    EngineBase* engine;
    long object;
    char const* name;
    VARIANT const* value;
    DISPPARAMS const* params;
    VARIANT* result;
    IDispatch* native;
    std::string_view source;
    std::string* text;
};

Task& task_of(void* data) { return *static_cast<Task*>(data); }

duk_ret_t do_has(duk_context* ctx, void* data) {
    push_kept(ctx, task_of(data).object);
    duk_push_boolean(ctx, duk_has_prop_string(ctx, -1, task_of(data).name));
    return 1;
}

duk_ret_t do_get(duk_context* ctx, void* data) {
    push_kept(ctx, task_of(data).object);
    duk_get_prop_string(ctx, -1, task_of(data).name);
    to_variant(ctx, -1, task_of(data).result);
    return 0;
}

duk_ret_t do_put(duk_context* ctx, void* data) {
    push_kept(ctx, task_of(data).object);
    push_variant(ctx, *task_of(data).value);
    duk_put_prop_string(ctx, -2, task_of(data).name);
    return 0;
}

duk_ret_t do_call(duk_context* ctx, void* data) {
    const Task& task = task_of(data);
    const std::uint32_t count = task.params != nullptr ? task.params->cArgs : 0;
    push_kept(ctx, task.object);
    duk_get_prop_string(ctx, -1, task.name);
    duk_dup(ctx, -2);
    duk_require_stack(ctx, static_cast<duk_idx_t>(count));
    for (std::uint32_t i = count; i > 0; --i)
        push_variant(ctx, task.params->rgvarg[i - 1]);
    duk_call_method(ctx, static_cast<duk_idx_t>(count));
    to_variant(ctx, -1, task.result);
    return 0;
}

duk_ret_t do_forget(duk_context* ctx, void* data) {
    push_objects(ctx);
    duk_del_prop_index(ctx, -1, static_cast<duk_uarridx_t>(task_of(data).object));
    return 0;
}

duk_ret_t do_define(duk_context* ctx, void* data) {
    push_native(ctx, task_of(data).native);
    duk_put_global_string(ctx, task_of(data).name);
    return 0;
}

duk_ret_t do_run(duk_context* ctx, void* data) {
    const Task& task = task_of(data);
    duk_push_string(ctx, task.name);
    duk_compile_lstring_filename(ctx, 0, task.source.data(), task.source.size());
    duk_call(ctx, 0);
    return 0;
}

/// "FILE:LINE: Error: message" of the error on the stack.
duk_ret_t do_describe(duk_context* ctx, void*) {
    if (!duk_is_error(ctx, -1)) return 1;
    duk_get_prop_literal(ctx, -1, "fileName");
    duk_get_prop_literal(ctx, -2, "lineNumber");
    duk_push_sprintf(ctx, "%s:%s: %s", duk_safe_to_string(ctx, -2), duk_safe_to_string(ctx, -1),
                     duk_safe_to_string(ctx, -3));
    return 1;
}

class DuktapeEngine final : public EngineBase {
public:
    DuktapeEngine() : ctx_(duk_create_heap(nullptr, nullptr, nullptr, as_base(), fatal)) {
        if (ctx_ == nullptr || duk_safe_call(ctx_, prepare_heap, nullptr, 0, 0) != 0)
            throw std::bad_alloc();
    }
    ~DuktapeEngine() override {
        close();
        if (ctx_ != nullptr) duk_destroy_heap(ctx_);
    }

    bool define(char const* name, IDispatch* object) override {
        Task task = new_task(0, name);
        task.native = object;
        return attempt(do_define, &task, nullptr) == S_OK;
    }

    bool run(std::string_view source, char const* file, std::string* failure) override {
        Task task = new_task(0, file);
        task.source = source;
        BSTR text = nullptr;
        if (attempt(do_run, &task, &text, do_describe) == S_OK) return true;
        *failure = to_engine_text({text, SysStringLen(text)}, Zero::kPlain);
        SysFreeString(text);
        return false;
    }

    void collect_garbage() override {
        drop();
        duk_gc(ctx_, 0);
        duk_gc(ctx_, 0);  // what the finalisers of the first pass let go
    }

    bool has_member(long object, char const* name) override {
        if (is_collecting()) return false;
        Task task = new_task(object, name);
        CallFrame* const mark = frames().innermost();
        const bool ran = duk_safe_call(ctx_, do_has, &task, 0, 1) == DUK_EXEC_SUCCESS;
        const bool has = ran && duk_get_boolean(ctx_, -1) != 0;
        duk_pop(ctx_);
        frames().drop_to(mark);
        return has;
    }
    long get_member(long object, char const* name, VARIANT* result, BSTR* failure) override {
        Task task = new_task(object, name);
        task.result = result;
        return attempt(do_get, &task, failure);
    }
    long put_member(long object, char const* name, VARIANT const* value, BSTR* failure) override {
        Task task = new_task(object, name);
        task.value = value;
        return attempt(do_put, &task, failure);
    }
    long call_member(long object, char const* name, DISPPARAMS const* params, VARIANT* result,
                     BSTR* failure) override {
        Task task = new_task(object, name);
        task.params = params;
        task.result = result;
        return attempt(do_call, &task, failure);
    }

private:
    static void fatal(void*, char const* message) {
        std::fprintf(stderr, "script engine: %s\n", message != nullptr ? message : "failed");
        std::abort();
    }

    EngineBase* as_base() { return this; }

    Task new_task(long object, char const* name) {
        Task task{};
        task.engine = this;
        task.object = object;
        task.name = name;
        return task;
    }

    void drop() {
        drop_forgotten([this](long object) {
            Task task = new_task(object, nullptr);
            duk_safe_call(ctx_, do_forget, &task, 0, 1);
            duk_pop(ctx_);
        });
    }

    long attempt(duk_safe_call_function body, Task* task, BSTR* failure,
                 duk_safe_call_function describe = nullptr) {
        if (is_collecting()) return E_UNEXPECTED;
        drop();
        CallFrame* const mark = frames().innermost();
        const bool ran = duk_safe_call(ctx_, body, task, 0, 1) == DUK_EXEC_SUCCESS;
        if (!ran) frames().drop_to(mark);
        if (!ran && describe != nullptr) duk_safe_call(ctx_, describe, task, 1, 1);
        if (!ran && failure != nullptr) *failure = from_engine_text(duk_safe_to_string(ctx_, -1));
        duk_pop(ctx_);
        return ran ? S_OK : DISP_E_EXCEPTION;
    }

    duk_context* ctx_;
};

}  // namespace

std::unique_ptr<ScriptEngine> make_duktape_engine() try {
    return std::make_unique<DuktapeEngine>();
} catch (const std::bad_alloc&) {
    return nullptr;
}

}  // namespace tarnwillow::script
