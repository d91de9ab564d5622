// A property read and written by name and a method called, from native code and from a script: ours
// beside the engines' own binding of native objects and GObject's properties.
//
// Every object has the same eight members, and a call holds a reference on it. MuJS binds natively
// in two ways, and both are here: user data whose C procedure is asked for every name ("mujs"), and
// properties of a prototype with a getter and a setter in C ("mujs_accessor").
//
// "whole" is what a script's access of one of our objects takes on an engine, "share" is the part
// of it that GetIDsOfNames and Invoke take.
#include <benchmark/benchmark.h>
#include <duktape.h>
#include <glib-object.h>
#include <mujs.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "ScriptEngine.h"
#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/automation/IObjectDispatchWrapper.h"
#include "tarnwillow/automation/IResultDispatchInterface.h"

namespace {

using namespace tarnwillow;

void require(bool holds) {
    if (!holds) std::abort();
}

// Ours.

long add(DISPPARAMS* params, VARIANT* result, EXCEPINFO*, unsigned*, IResultDispatchInterface*,
         long, long) {
    CDispParamsMaster arguments(params);
    if (result == nullptr) return S_OK;
    result->vt = VT_I4;
    result->llVal = arguments.Get_Numeric_Param(0, 0) + arguments.Get_Numeric_Param(1, 0);
    return S_OK;
}

/// The numbers beside "number", which nobody asks for.
constexpr char const* kOtherNumbers[] = {"depth", "height", "width", "x", "y"};

/// Members number and text, the other numbers, method add.
class Ours {
public:
    Ours() {
        for (char const* const name : kOtherNumbers)
            object->Set_Property(std::u16string(name, name + std::strlen(name)).c_str(), 1);
        object->Set_Property(u"number", 5);
        object->Set_Property(u"text", u"some text");
        void* face = nullptr;
        object->QueryInterface(IID_IResultDispatchInterface2, &face);
        auto* const methods = static_cast<IResultDispatchInterface2*>(face);
        methods->Set_Method(u"add", add, 0, 0);
        methods->Release();
        object->QueryInterface(IID_IDispatch, &face);
        script = static_cast<IDispatch*>(face);
    }
    ~Ours() {
        script->Release();
        object->Release();
    }

    IResultDispatchInterface* object = CreateResultDispatch();
    IDispatch* script = nullptr;
};

void get_ours(benchmark::State& state) {
    const Ours ours;
    CDispatchMaster master(ours.script);
    long number = 0;
    for (auto _ : state) {
        require(master.Get_Property(u"number", &number) == S_OK);
        benchmark::DoNotOptimize(number);
    }
}

void set_ours(benchmark::State& state) {
    const Ours ours;
    CDispatchMaster master(ours.script);
    long number = 0;
    for (auto _ : state)
        require(master.Set_Property(u"number", ++number & 0xFFFF) == S_OK);
}

void get_text_ours(benchmark::State& state) {
    const Ours ours;
    CDispatchMaster master(ours.script);
    char16_t text[16] = {};
    for (auto _ : state) {
        require(master.Get_Property(u"text", text, 15) == S_OK);
        benchmark::DoNotOptimize(text);
    }
}

void call_ours(benchmark::State& state) {
    const Ours ours;
    CDispatchMaster master(ours.script);
    for (auto _ : state) {
        CDispParamsMaster params;
        params.Add_Param(2);
        params.Add_Param(3);
        VARIANT result{};
        require(master.Invoke_Method(u"add", &params, &result) == S_OK && result.lVal == 5);
    }
}

/// A text of a peer is good until its value goes: whoever needs it longer copies it, as ours is.
void keep(char const* text) {
    char copy[16];
    memccpy(copy, text, 0, sizeof(copy));
    benchmark::DoNotOptimize(copy);
}

// GObject.

struct Thing {
    GObject parent;
    int number;
    char* text;
};
struct ThingClass {
    GObjectClass parent;
};
enum { kNumber = 1, kText, kFirstOther };

void thing_get(GObject* object, guint id, GValue* value, GParamSpec*) {
    auto* const thing = reinterpret_cast<Thing*>(object);
    if (id == kNumber)
        g_value_set_int(value, thing->number);
    else
        g_value_set_string(value, "some text");
}

void thing_set(GObject* object, guint, const GValue* value, GParamSpec*) {
    reinterpret_cast<Thing*>(object)->number = g_value_get_int(value);
}

void thing_class_init(void* data, void*) {
    auto* const klass = static_cast<GObjectClass*>(data);
    klass->get_property = thing_get;
    klass->set_property = thing_set;
    g_object_class_install_property(
        klass, kNumber,
        g_param_spec_int("number", "", "", 0, 1 << 30, 0,
                         static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));
    g_object_class_install_property(
        klass, kText,
        g_param_spec_string("text", "", "", nullptr,
                            static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));
    guint id = kFirstOther;
    for (char const* const name : kOtherNumbers)
        g_object_class_install_property(
            klass, id++,
            g_param_spec_int(name, "", "", 0, 1 << 30, 0,
                             static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));
}

GObject* new_thing() {
    static const GType type =
        g_type_register_static_simple(G_TYPE_OBJECT, "Thing", sizeof(ThingClass), thing_class_init,
                                      sizeof(Thing), nullptr, GTypeFlags(0));
    return static_cast<GObject*>(g_object_new(type, nullptr));
}

void get_gobject(benchmark::State& state) {
    GObject* const thing = new_thing();
    for (auto _ : state) {
        GValue value = G_VALUE_INIT;
        g_value_init(&value, G_TYPE_INT);
        g_object_get_property(thing, "number", &value);
        benchmark::DoNotOptimize(g_value_get_int(&value));
        g_value_unset(&value);
    }
    g_object_unref(thing);
}

void set_gobject(benchmark::State& state) {
    GObject* const thing = new_thing();
    int number = 0;
    for (auto _ : state) {
        GValue value = G_VALUE_INIT;
        g_value_init(&value, G_TYPE_INT);
        g_value_set_int(&value, ++number & 0xFFFF);
        g_object_set_property(thing, "number", &value);
        g_value_unset(&value);
    }
    g_object_unref(thing);
}

void get_text_gobject(benchmark::State& state) {
    GObject* const thing = new_thing();
    for (auto _ : state) {
        GValue value = G_VALUE_INIT;
        g_value_init(&value, G_TYPE_STRING);
        g_object_get_property(thing, "text", &value);
        keep(g_value_get_string(&value));
        g_value_unset(&value);
    }
    g_object_unref(thing);
}

// Duktape's own: accessors and a function in C, over a pointer in the object.

/// What scripts of an engine's own binding see. A call holds a reference, as any host's must whose
/// objects may be given up by what they call.
struct Native {
    int number = 5;
    std::atomic<int> references{1};
};

class Hold {
public:
    explicit Hold(Native& native) : native_(native) { ++native_.references; }
    ~Hold() { --native_.references; }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    Native& native_;
};

Native& native_of(duk_context* ctx) {
    duk_push_this(ctx);
    duk_get_prop_literal(ctx, -1, DUK_HIDDEN_SYMBOL("native"));
    return *static_cast<Native*>(duk_get_pointer(ctx, -1));
}

duk_ret_t duk_number(duk_context* ctx) {
    duk_push_int(ctx, native_of(ctx).number);
    return 1;
}

duk_ret_t duk_set_number(duk_context* ctx) {
    const int number = duk_get_int(ctx, 0);
    native_of(ctx).number = number;
    return 0;
}

duk_ret_t duk_text(duk_context* ctx) {
    native_of(ctx);
    duk_push_string(ctx, "some text");
    return 1;
}

duk_ret_t duk_add(duk_context* ctx) {
    const Hold hold(native_of(ctx));
    duk_push_int(ctx, duk_get_int(ctx, 0) + duk_get_int(ctx, 1));
    return 1;
}

class Duktape {
public:
    Duktape() {
        duk_push_object(ctx);
        duk_push_pointer(ctx, &native);
        duk_put_prop_literal(ctx, -2, DUK_HIDDEN_SYMBOL("native"));
        for (char const* const name : kOtherNumbers)
            accessor(name, duk_number, duk_set_number);
        accessor("number", duk_number, duk_set_number);
        accessor("text", duk_text, nullptr);
        duk_push_c_function(ctx, duk_add, 2);
        duk_put_prop_literal(ctx, -2, "add");
        duk_dup_top(ctx);
        duk_put_global_literal(ctx, "o");
    }
    ~Duktape() { duk_destroy_heap(ctx); }

    duk_context* ctx = duk_create_heap_default();
    Native native;

private:
    void accessor(char const* name, duk_c_function get, duk_c_function set) {
        duk_push_string(ctx, name);
        duk_push_c_function(ctx, get, 0);
        if (set != nullptr) duk_push_c_function(ctx, set, 1);
        duk_def_prop(ctx, set != nullptr ? -4 : -3,
                     DUK_DEFPROP_HAVE_GETTER | (set != nullptr ? DUK_DEFPROP_HAVE_SETTER : 0));
    }
};

void get_duktape(benchmark::State& state) {
    const Duktape engine;
    for (auto _ : state) {
        duk_get_prop_string(engine.ctx, -1, "number");
        benchmark::DoNotOptimize(duk_get_int(engine.ctx, -1));
        duk_pop(engine.ctx);
    }
}

void set_duktape(benchmark::State& state) {
    const Duktape engine;
    int number = 0;
    for (auto _ : state) {
        duk_push_int(engine.ctx, ++number & 0xFFFF);
        duk_put_prop_string(engine.ctx, -2, "number");
    }
}

void get_text_duktape(benchmark::State& state) {
    const Duktape engine;
    for (auto _ : state) {
        duk_get_prop_string(engine.ctx, -1, "text");
        keep(duk_get_string(engine.ctx, -1));
        duk_pop(engine.ctx);
    }
}

void call_duktape(benchmark::State& state) {
    const Duktape engine;
    for (auto _ : state) {
        duk_push_string(engine.ctx, "add");
        duk_push_int(engine.ctx, 2);
        duk_push_int(engine.ctx, 3);
        duk_call_prop(engine.ctx, -4, 2);
        require(duk_get_int(engine.ctx, -1) == 5);
        duk_pop(engine.ctx);
    }
}

// MuJS's own.

constexpr char kTag[] = "native";

struct MujsMember {
    char const* name;
    void (*get)(js_State* J, Native& native);
    void (*set)(js_State* J, Native& native);
};

void get_number(js_State* J, Native& native) { js_pushnumber(J, native.number); }
void set_number(js_State* J, Native& native) { native.number = js_tointeger(J, -1); }
void get_text(js_State* J, Native&) { js_pushstring(J, "some text"); }

/// In the order of their names.
constexpr MujsMember kMujsMembers[] = {
    {"depth", get_number, set_number},  {"height", get_number, set_number},
    {"number", get_number, set_number}, {"text", get_text, nullptr},
    {"width", get_number, set_number},  {"x", get_number, set_number},
    {"y", get_number, set_number}};

MujsMember const* find_member(char const* name) {
    const auto* const found = std::lower_bound(
        std::begin(kMujsMembers), std::end(kMujsMembers), name,
        [](const MujsMember& m, char const* wanted) { return std::strcmp(m.name, wanted) < 0; });
    const bool is_it = found != std::end(kMujsMembers) && std::strcmp(found->name, name) == 0;
    return is_it ? found : nullptr;
}

int js_has(js_State* J, void* data, char const* name) {
    MujsMember const* const member = find_member(name);
    if (member == nullptr) return 0;
    member->get(J, *static_cast<Native*>(data));
    return 1;
}

int js_put(js_State* J, void* data, char const* name) {
    MujsMember const* const member = find_member(name);
    if (member == nullptr || member->set == nullptr) return 0;
    member->set(J, *static_cast<Native*>(data));
    return 1;
}

Native& this_native(js_State* J) { return *static_cast<Native*>(js_touserdata(J, 0, kTag)); }

void js_add(js_State* J) {
    Native& native = this_native(J);
    ++native.references;  // not a Hold: an error would jump over its end
    const int sum = js_tointeger(J, 1) + js_tointeger(J, 2);
    --native.references;
    js_pushnumber(J, sum);
}

void js_get_number(js_State* J) { get_number(J, this_native(J)); }
void js_set_number(js_State* J) {
    set_number(J, this_native(J));
    js_pushundefined(J);
}
void js_get_text(js_State* J) { get_text(J, this_native(J)); }

enum class Binding { kUserData, kAccessors };

template <Binding binding>
class Mujs {
public:
    Mujs() {
        js_newobject(J);
        js_newcfunction(J, js_add, "add", 2);
        js_setproperty(J, -2, "add");
        if constexpr (binding == Binding::kUserData) {
            js_newuserdatax(J, kTag, &native, js_has, js_put, nullptr, nullptr);
        } else {
            define_accessors();
            js_newuserdata(J, kTag, &native, nullptr);
        }
        js_copy(J, -1);
        js_setglobal(J, "o");
    }
    ~Mujs() { js_freestate(J); }

    js_State* J = js_newstate(nullptr, nullptr, JS_STRICT);
    Native native;

private:
    void define_accessors() {
        for (const MujsMember& member : kMujsMembers) {
            js_newcfunction(J, member.get == get_text ? js_get_text : js_get_number, "get", 0);
            js_newcfunction(J, js_set_number, "set", 1);
            js_defaccessor(J, -3, member.name, JS_DONTENUM);
        }
    }
};

template <Binding binding>
void get_mujs(benchmark::State& state) {
    const Mujs<binding> engine;
    for (auto _ : state) {
        js_getproperty(engine.J, -1, "number");
        benchmark::DoNotOptimize(js_tointeger(engine.J, -1));
        js_pop(engine.J, 1);
    }
}

template <Binding binding>
void set_mujs(benchmark::State& state) {
    const Mujs<binding> engine;
    int number = 0;
    for (auto _ : state) {
        js_pushnumber(engine.J, ++number & 0xFFFF);
        js_setproperty(engine.J, -2, "number");
    }
}

template <Binding binding>
void get_text_mujs(benchmark::State& state) {
    const Mujs<binding> engine;
    for (auto _ : state) {
        js_getproperty(engine.J, -1, "text");
        keep(js_tostring(engine.J, -1));
        js_pop(engine.J, 1);
    }
}

template <Binding binding>
void call_mujs(benchmark::State& state) {
    const Mujs<binding> engine;
    for (auto _ : state) {
        js_getproperty(engine.J, -1, "add");
        js_copy(engine.J, -2);
        js_pushnumber(engine.J, 2);
        js_pushnumber(engine.J, 3);
        js_call(engine.J, 2);
        require(js_tointeger(engine.J, -1) == 5);
        js_pop(engine.J, 1);
    }
}

// From a script. Each run is a loop of kTurns; the loop itself, without the access, is measured
// too.

constexpr int kTurns = 1000;

struct Access {
    char const* name;
    char const* statement;
};

constexpr Access kAccesses[] = {{"nothing", ";"},
                                {"get", "x = o.number;"},
                                {"set", "o.number = i;"},
                                {"call", "x = o.add(2, i);"}};

std::string loop_of(const Access& access) {
    return "(function () { var x; for (var i = 0; i < " + std::to_string(kTurns) + "; ++i) { " +
           access.statement + " } })();";
}

void count_turns(benchmark::State& state) {
    state.counters["each"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * kTurns,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void script_ours(benchmark::State& state, char const* engine_name, const Access& access) {
    const Ours ours;
    const auto engine = script::make_engine(engine_name);
    engine->define("o", ours.script);
    const std::string source = loop_of(access);
    std::string failure;
    for (auto _ : state)
        require(engine->run(source, "loop", &failure));
    count_turns(state);
}

void script_duktape(benchmark::State& state, const Access& access) {
    const Duktape engine;
    const std::string source = loop_of(access);
    for (auto _ : state) {
        require(duk_peval_lstring(engine.ctx, source.data(), source.size()) == 0);
        duk_pop(engine.ctx);
    }
    count_turns(state);
}

template <Binding binding>
void script_mujs(benchmark::State& state, const Access& access) {
    const Mujs<binding> engine;
    const std::string source = loop_of(access);
    for (auto _ : state)
        require(js_dostring(engine.J, source.c_str()) == 0);
    count_turns(state);
}

/// GetIDsOfNames and Invoke as the hosts call them for one access. A method is read first, which
/// tells that it is one.
void share(benchmark::State& state, char const* name, std::uint16_t flags) {
    const Ours ours;
    const BSTR text = SysAllocString(std::u16string(name, name + std::strlen(name)).c_str());
    VARIANT arguments[2] = {};
    arguments[0].vt = arguments[1].vt = VT_I4;
    DISPPARAMS params{arguments, nullptr, flags == DISPATCH_PROPERTYGET ? 0U : 2U, 0};
    DISPID id = 0;
    const auto invoke = [&](std::uint16_t how) {
        VARIANT result{};
        EXCEPINFO exception{};
        ours.script->Invoke(id, IID_NULL, 0, how, &params, &result, &exception, nullptr);
        SysFreeString(exception.bstrSource);
        SysFreeString(exception.bstrDescription);
        benchmark::DoNotOptimize(result);
    };
    for (auto _ : state) {
        char16_t* names[] = {text};
        ours.script->GetIDsOfNames(IID_NULL, names, 1, 0, &id);
        if (flags == DISPATCH_METHOD) invoke(DISPATCH_PROPERTYGET);
        invoke(flags);
    }
    SysFreeString(text);
}

void register_script_runs() {
    for (const Access& access : kAccesses) {
        const std::string name = std::string("script_") + access.name;
        benchmark::RegisterBenchmark((name + "/duktape_whole").c_str(), script_ours, "duktape",
                                     access);
        benchmark::RegisterBenchmark((name + "/duktape_own").c_str(), script_duktape, access);
        benchmark::RegisterBenchmark((name + "/mujs_whole").c_str(), script_ours, "mujs", access);
        benchmark::RegisterBenchmark((name + "/mujs_own").c_str(), script_mujs<Binding::kUserData>,
                                     access);
        benchmark::RegisterBenchmark((name + "/mujs_own_accessor").c_str(),
                                     script_mujs<Binding::kAccessors>, access);
    }
    benchmark::RegisterBenchmark("script_get/share", share, "number", DISPATCH_PROPERTYGET);
    benchmark::RegisterBenchmark("script_set/share", share, "number", DISPATCH_PROPERTYPUT);
    benchmark::RegisterBenchmark("script_call/share", share, "add", DISPATCH_METHOD);
}

BENCHMARK(get_ours);
BENCHMARK(get_gobject);
BENCHMARK(get_duktape);
BENCHMARK(get_mujs<Binding::kUserData>)->Name("get_mujs");
BENCHMARK(get_mujs<Binding::kAccessors>)->Name("get_mujs_accessor");
BENCHMARK(set_ours);
BENCHMARK(set_gobject);
BENCHMARK(set_duktape);
BENCHMARK(set_mujs<Binding::kUserData>)->Name("set_mujs");
BENCHMARK(set_mujs<Binding::kAccessors>)->Name("set_mujs_accessor");
BENCHMARK(get_text_ours);
BENCHMARK(get_text_gobject);
BENCHMARK(get_text_duktape);
BENCHMARK(get_text_mujs<Binding::kUserData>)->Name("get_text_mujs");
BENCHMARK(get_text_mujs<Binding::kAccessors>)->Name("get_text_mujs_accessor");
BENCHMARK(call_ours);
BENCHMARK(call_duktape);
BENCHMARK(call_mujs<Binding::kUserData>)->Name("call_mujs");
BENCHMARK(call_mujs<Binding::kAccessors>)->Name("call_mujs_accessor");

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    register_script_runs();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
