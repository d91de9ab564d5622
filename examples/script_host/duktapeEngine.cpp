#include <cstdio>
#include <cstdlib>
#include <new>

#include "duktapeBridge.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::script {

namespace {

using namespace duktape;

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
