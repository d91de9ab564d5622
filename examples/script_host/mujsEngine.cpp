// Native objects are the engine's own user data, whose reads and writes come here.
//
// Functions that the engine calls, and those that such functions call, leave no object with a
// destructor on the stack while they use the engine: an error jumps over them.
#include <mujs.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "EngineBase.h"
#include "nativeCalls.h"
#include "scriptValues.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::script {

namespace {

constexpr char kNativeTag[] = "native";
constexpr char kPrototypeKey[] = "native prototype";

EngineBase& engine_of(js_State* J) { return *static_cast<EngineBase*>(js_getcontext(J)); }

[[noreturn]] void out_of_memory(js_State* J) { js_error(J, "out of memory"); }

int on_has(js_State* J, void* object, char const* name);
int on_put(js_State* J, void* object, char const* name);

// A native object that can be deleted from would not be one.
int on_delete(js_State*, void*, char const*) { return 1; }

void on_finalise(js_State* J, void* object) {
    engine_of(J).release_native(static_cast<IDispatch*>(object));
}

void push_native(js_State* J, IDispatch* object) {
    js_getregistry(J, kPrototypeKey);
    js_newuserdatax(J, kNativeTag, object, on_has, on_put, on_delete, on_finalise);
    object->AddRef();
    count_reference(1);
}

/// The registry's key for a kept object.
struct Key {
    explicit Key(long number) { std::snprintf(text, sizeof(text), "object %ld", number); }
    char text[40];
};

void push_text(js_State* J, BSTR text) {
    std::string const* const converted = engine_of(J).text_room().convert(text, Zero::kTwoBytes);
    if (converted == nullptr) out_of_memory(J);
    js_pushlstring(J, converted->data(), static_cast<int>(converted->size()));
}

void push_object(js_State* J, IDispatch* object) {
    const long number = ScriptObject::number_of(object, &engine_of(J));
    if (number != 0)
        js_getregistry(J, Key(number).text);
    else
        push_native(J, object);
}

void push_variant(js_State* J, const VARIANT& variant) {
    const ScriptValue value = value_of(variant);
    switch (value.kind) {
        case Kind::kUndefined:
            js_pushundefined(J);
            return;
        case Kind::kNull:
            js_pushnull(J);
            return;
        case Kind::kBool:
            js_pushboolean(J, value.number != 0 ? 1 : 0);
            return;
        case Kind::kNumber:
            js_pushnumber(J, value.number);
            return;
        case Kind::kText:
            push_text(J, value.text);
            return;
        case Kind::kObject:
            push_object(J, value.object);
            return;
    }
}

IDispatch* keep_object(js_State* J, int index) {
    const long number = engine_of(J).next_number();
    js_copy(J, index);
    js_setregistry(J, Key(number).text);
    IDispatch* const held = engine_of(J).hold(number);
    if (held == nullptr) out_of_memory(J);
    return held;
}

void object_to_variant(js_State* J, int index, VARIANT* out) {
    IDispatch* object = nullptr;
    if (js_isuserdata(J, index, kNativeTag) != 0) {
        object = static_cast<IDispatch*>(js_touserdata(J, index, kNativeTag));
        object->AddRef();
    } else {
        object = keep_object(J, index);
    }
    set_object(out, object);
}

/// Into an empty variant. Undefined stays empty.
void to_variant(js_State* J, int index, VARIANT* out) {
    switch (js_type(J, index)) {
        case JS_ISNULL:
            set_null(out);
            return;
        case JS_ISBOOLEAN:
            set_bool(out, js_toboolean(J, index) != 0);
            return;
        case JS_ISNUMBER:
            set_number(out, js_tonumber(J, index));
            return;
        case JS_ISSTRING:
            out->vt = VT_BSTR;
            out->bstrVal = from_engine_text(js_tostring(J, index));
            if (out->bstrVal == nullptr) out_of_memory(J);
            return;
        case JS_ISFUNCTION:
        case JS_ISOBJECT:
            object_to_variant(J, index, out);
            return;
        default:
            return;
    }
}

CallFrame* begin_call(js_State* J, std::uint32_t arguments) {
    CallFrame* const frame = engine_of(J).frames().begin(arguments);
    if (frame == nullptr) out_of_memory(J);
    return frame;
}

[[noreturn]] void throw_failure(js_State* J, CallFrame* frame) {
    const EXCEPINFO& exception = frame->exception;
    js_newerror(J, "");
    push_text(J, exception.bstrDescription);
    js_setproperty(J, -2, "message");
    push_text(J, exception.bstrSource);
    js_setproperty(J, -2, "source");
    js_pushnumber(J, exception.scode);
    js_setproperty(J, -2, "number");
    engine_of(J).frames().end(frame);
    js_throw(J);
}

void finish_call(js_State* J, CallFrame* frame, Outcome outcome) {
    if (outcome == Outcome::kFailure) throw_failure(J, frame);
    push_variant(J, frame->result);
    engine_of(J).frames().end(frame);
}

// What scripts reach.

/// The data of a function that stands for a method.
struct NativeMethod {
    IDispatch* object;
    DISPID id;
};

void finalise_method(js_State* J, void* data) {
    engine_of(J).release_native(static_cast<NativeMethod*>(data)->object);
    std::free(data);
}

void call_native(js_State* J) {
    const NativeMethod method = *static_cast<NativeMethod*>(js_currentfunctiondata(J));
    const auto count = static_cast<std::uint32_t>(js_gettop(J) - 1);
    CallFrame* const frame = begin_call(J, count);
    for (std::uint32_t i = 0; i < count; ++i)
        to_variant(J, static_cast<int>(i) + 1, frame->argument(i));
    finish_call(J, frame, call_member(frame, method.object, method.id));
}

void push_method(js_State* J, IDispatch* object, DISPID id) {
    auto* const method = static_cast<NativeMethod*>(std::malloc(sizeof(NativeMethod)));
    if (method == nullptr) out_of_memory(J);
    *method = {object, id};
    object->AddRef();
    count_reference(1);
    js_newcfunctionx(J, call_native, "method", 0, method, finalise_method);
}

// Leaves the value on the stack and gives 1, or gives 0 for the engine's own members.
int on_has(js_State* J, void* data, char const* name) {
    if (is_engine_name(name)) return 0;
    auto* const object = static_cast<IDispatch*>(data);
    CallFrame* const frame = begin_call(J, 0);
    DISPID id = DISPID_UNKNOWN;
    const Outcome outcome = read_member(frame, object, name, &id);
    if (outcome == Outcome::kValue || outcome == Outcome::kFailure) {
        finish_call(J, frame, outcome);
        return 1;
    }
    engine_of(J).frames().end(frame);
    if (outcome == Outcome::kUnknown) return 0;
    push_method(J, object, id);
    return 1;
}

// The value stands on top of the stack.
int on_put(js_State* J, void* data, char const* name) {
    if (is_engine_name(name)) return 1;
    CallFrame* const frame = begin_call(J, 1);
    to_variant(J, -1, frame->argument(0));
    const Outcome outcome = write_member(frame, static_cast<IDispatch*>(data), name);
    if (outcome == Outcome::kFailure) throw_failure(J, frame);
    engine_of(J).frames().end(frame);
    return 1;
}

// What native code asks for, each inside a protected call.

void do_has(js_State* J, Task& task) {
    js_getregistry(J, Key(task.object).text);
    task.has = js_isobject(J, -1) != 0 && js_hasproperty(J, -1, task.name) != 0;
    js_pop(J, task.has ? 2 : 1);
}

void do_get(js_State* J, Task& task) {
    js_getregistry(J, Key(task.object).text);
    js_getproperty(J, -1, task.name);
    to_variant(J, -1, task.result);
    js_pop(J, 2);
}

void do_put(js_State* J, Task& task) {
    js_getregistry(J, Key(task.object).text);
    push_variant(J, *task.value);
    js_setproperty(J, -2, task.name);
    js_pop(J, 1);
}

void do_call(js_State* J, Task& task) {
    const std::uint32_t count = task.params != nullptr ? task.params->cArgs : 0;
    js_getregistry(J, Key(task.object).text);
    js_getproperty(J, -1, task.name);
    js_copy(J, -2);
    for (std::uint32_t i = count; i > 0; --i)
        push_variant(J, task.params->rgvarg[i - 1]);
    js_call(J, static_cast<int>(count));
    to_variant(J, -1, task.result);
    js_pop(J, 2);
}

void do_forget(js_State* J, Task& task) { js_delregistry(J, Key(task.object).text); }

void do_define(js_State* J, Task& task) {
    push_native(J, task.native);
    js_setglobal(J, task.name);
}

void do_run(js_State* J, Task& task) {
    js_loadstring(J, task.name, task.source.data());
    js_pushundefined(J);
    js_call(J, 0);
    js_pop(J, 1);
}

/// Leaves where the error on the stack came from, as the engine tells it, on top of it.
void do_trace(js_State* J, Task& task) {
    if (js_isobject(J, -1) != 0)
        js_getproperty(J, -1, "stackTrace");
    else
        js_pushliteral(J, "");
    task.name = js_tostring(J, -1);
}

void do_prepare(js_State* J, Task&) {
    js_getglobal(J, "Object");
    js_getproperty(J, -1, "prototype");
    js_setregistry(J, kPrototypeKey);
    js_pop(J, 1);
}

/// False leaves the error on the stack.
bool protect(js_State* J, void (*body)(js_State*, Task&), Task& task) {
    // js_try, whose result of js_savetry only C takes as it is
    if (setjmp(*static_cast<jmp_buf*>(js_savetry(J))) != 0) return false;
    body(J, task);
    js_endtry(J);
    return true;
}

/// "FILE:LINE: " of the first line of a trace that names a script; empty if none does. A line is
/// "\tat FILE:LINE" or "\tat NAME (FILE:LINE)".
std::string first_place(std::string_view trace) {
    constexpr std::string_view kAt = "\tat ";
    while (!trace.empty()) {
        std::string_view line = trace.substr(0, trace.find('\n'));
        trace.remove_prefix(std::min(trace.size(), line.size() + 1));
        if (!line.starts_with(kAt)) continue;
        const bool is_named = line.ends_with(')');
        line.remove_prefix(is_named ? line.find('(') + 1 : kAt.size());
        if (is_named) line.remove_suffix(1);
        if (line.find(':') != line.npos) return std::string(line) + ": ";
    }
    return {};
}

class MujsEngine final : public EngineBase {
public:
    MujsEngine() : J_(js_newstate(nullptr, nullptr, JS_STRICT)) {
        if (J_ == nullptr) throw std::bad_alloc();
        js_setcontext(J_, static_cast<EngineBase*>(this));
        js_setreport(J_, [](js_State*, char const*) {});
        Task task{};
        if (!protect(J_, do_prepare, task)) throw std::bad_alloc();
    }
    ~MujsEngine() override {
        close();
        js_freestate(J_);
    }

    void collect_garbage() override {
        drop_forgotten();
        js_gc(J_, 0);
    }

private:
    bool perform(Step step, Task& task) override {
        constexpr void (*kBodies[])(js_State*, Task&) = {do_has,    do_get,    do_put, do_call,
                                                         do_forget, do_define, do_run};
        return protect(J_, kBodies[static_cast<int>(step)], task);
    }

    BSTR take_error(Step step) override try {
        std::string text = step == Step::kRun ? place_of_error() : "";
        text += js_trystring(J_, -1, "an error without text");
        js_pop(J_, 1);
        return from_engine_text(text);
    } catch (const std::bad_alloc&) {
        js_pop(J_, 1);
        return nullptr;
    }

    std::string place_of_error() {
        Task task{};
        std::string place;
        if (protect(J_, do_trace, task)) place = first_place(task.name);
        js_pop(J_, 1);  // the trace, or the error in its place
        return place;
    }

    js_State* J_;
};

}  // namespace

std::unique_ptr<ScriptEngine> make_mujs_engine() try {
    return std::make_unique<MujsEngine>();
} catch (const std::bad_alloc&) {
    return nullptr;
}

}  // namespace tarnwillow::script
