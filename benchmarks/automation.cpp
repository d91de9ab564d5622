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

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "ScriptEngine.h"
#include "nativeObjects.h"
#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/automation/IObjectDispatchWrapper.h"
#include "tarnwillow/automation/IResultDispatchInterface.h"

namespace {

using namespace tarnwillow;
using namespace tarnwillow::bench;

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

// Duktape's own.

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
