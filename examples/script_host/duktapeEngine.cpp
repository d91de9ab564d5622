#include <cstdio>
#include <cstdlib>
#include <new>

#include "duktapeBridge.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::script {

namespace {

using namespace duktape;

// What native code asks for, each inside a protected call.

Task& task_of(void* data) { return *static_cast<Task*>(data); }

duk_ret_t do_has(duk_context* ctx, void* data) {
    push_kept(ctx, task_of(data).object);
    task_of(data).has = duk_has_prop_string(ctx, -1, task_of(data).name) != 0;
    return 0;
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

    void collect_garbage() override {
        drop_forgotten();
        duk_gc(ctx_, 0);
        duk_gc(ctx_, 0);  // what the finalisers of the first pass let go
    }

private:
    static void fatal(void*, char const* message) {
        std::fprintf(stderr, "script engine: %s\n", message != nullptr ? message : "failed");
        std::abort();
    }

    EngineBase* as_base() { return this; }

    bool perform(Step step, Task& task) override {
        constexpr duk_safe_call_function kBodies[] = {do_has,    do_get,    do_put, do_call,
                                                      do_forget, do_define, do_run};
        const auto body = kBodies[static_cast<int>(step)];
        const bool ran = duk_safe_call(ctx_, body, &task, 0, 1) == DUK_EXEC_SUCCESS;
        if (ran) duk_pop(ctx_);
        return ran;
    }

    BSTR take_error(Step step) override {
        if (step == Step::kRun) duk_safe_call(ctx_, do_describe, nullptr, 1, 1);
        BSTR const text = from_engine_text(duk_safe_to_string(ctx_, -1));
        duk_pop(ctx_);
        return text;
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
