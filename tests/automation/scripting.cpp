// One suite of scripts on every engine, with native objects that the scripts use and test.
#include <gtest/gtest.h>

#include <memory>

#include "ScriptEngine.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "support/variants.h"
#include "tarnwillow/automation/CDispArrayMaster.h"
#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/automation/IObjectDispatchWrapper.h"
#include "tarnwillow/automation/IResultDispatchInterface.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::test {
namespace {

constexpr char kPrelude[] =
    "function equal(a, b, what) {"
    "    test.check(a === b || (a !== a && b !== b), what + ': ' + a + ' instead of ' + b); }"
    "function raises(action, message, source, number) {"
    "    var e = null;"
    "    try { action(); } catch (caught) { e = caught; }"
    "    test.check(e !== null, 'nothing raised for ' + message);"
    "    if (e === null || message === null) return;"
    "    equal(e.message, message, 'message');"
    "    equal(e.source, source, 'source');"
    "    if (number !== undefined) equal(e.number, number, 'number'); }";

std::string narrow(char16_t const* text) {
    std::string out;
    for (; *text != 0; ++text)
        out += *text < 0x80 ? static_cast<char>(*text) : '?';
    return out;
}

void set_result(VARIANT* result, const VARIANT& value) {
    if (result != nullptr) VariantCopy(result, &value);
}

void set_result(VARIANT* result, const std::string& text) {
    set_result(result, Value(std::u16string(text.begin(), text.end())));
}

/// A native object with a script face, which keeps itself alive as long as its wrapper.
class Part : public IScriptObjectTarget {
public:
    Part() : wrapper(CreateObjectDispatchWrapper()) {
        wrapper->Attach_Target(static_cast<IScriptObjectTarget*>(this));
    }

    long Find_Member(char16_t* name) override {
        char16_t const* const names[] = {u"value", u"twice", u"broken", u"refuse"};
        for (long id = 0; id < 4; ++id)
            if (wide::compare(names[id], name) == 0) return id;
        return -1;
    }
    long Put_Member(long id, VARIANT* new_value, char16_t* error_text) override {
        if (id != 0) return broken(error_text);
        return VariantCopy(&value, new_value);
    }
    long Get_Member(long id, VARIANT* result, char16_t* error_text) override {
        if (id == 1 || id == 3) return DISP_E_MEMBERNOTFOUND;
        return id == 0 ? VariantCopy(result, &value) : broken(error_text);
    }
    long Call_Member(long id, DISPPARAMS* params, VARIANT* result, char16_t*) override {
        if (id != 1) return E_FAIL;
        set_result(result, Value(VT_I4, 2 * CDispParamsMaster(params).Get_Numeric_Param(0, 0)));
        return S_OK;
    }
    unsigned long Get_Target_Value() override { return 0; }
    void Wrapper_Released() override { released = true; }

    IObjectDispatchWrapper* wrapper;
    Value value{VT_I4, 10};
    bool released = false;

private:
    static long broken(char16_t* error_text) {
        wide::copy(error_text, 1024, u"the part is broken");
        return E_FAIL;
    }
};

/// Everything that the scripts reach. Methods find it in their first user value.
struct World {
    World()
        : test(CreateResultDispatch()),
          native(CreateResultDispatch()),
          child(CreateResultDispatch()),
          other(CreateResultDispatch()) {}

    IResultDispatchInterface *test, *native, *child, *other;
    Part part;
    std::vector<std::string> failures;
    int checks = 0;
};

World& world_of(long user_value) { return *reinterpret_cast<World*>(user_value); }

#define METHOD(name)                                                                             \
    long name([[maybe_unused]] DISPPARAMS* params, [[maybe_unused]] VARIANT* result, EXCEPINFO*, \
              unsigned*, [[maybe_unused]] IResultDispatchInterface* self,                        \
              [[maybe_unused]] long user, long)

METHOD(check) {
    CDispParamsMaster arguments(params);
    ++world_of(user).checks;
    if (!arguments.Get_Bool_Param(0, false))
        world_of(user).failures.push_back(narrow(arguments.Get_Str_Param(1, u"no text")));
    return S_OK;
}

METHOD(describe) {
    std::string all;
    for (std::uint32_t i = params->cArgs; i > 0; --i)
        all += (all.empty() ? "" : ", ") + shown(params->rgvarg[i - 1]);
    set_result(result, all);
    return S_OK;
}

METHOD(echo) {
    if (params->cArgs == 1) set_result(result, params->rgvarg[0]);
    return S_OK;
}

METHOD(sum) {
    CDispParamsMaster arguments(params);
    const int types[] = {VT_I4, VT_I4};
    const long wrong = arguments.Validate_Params(2, 2, 1, types, nullptr, nullptr);
    if (wrong != S_OK) return wrong;
    set_result(result,
               Value(VT_I4, arguments.Get_Numeric_Param(0, 0) + arguments.Get_Numeric_Param(1, 0)));
    return S_OK;
}

METHOD(refuse) { return E_INVALIDARG; }

METHOD(cause_fault) {
    fault();
    return S_OK;
}

METHOD(throw_value) { throw 7; }

METHOD(load) {
    CDispArrayMaster array(CDispParamsMaster(params).Get_Dispatch_Param(0, nullptr));
    const long status = array.Load_Array();
    if (status != S_OK) return status;
    std::string all;
    for (int i = 0; array[i] != nullptr; ++i)
        all += (i > 0 ? ", " : "") + shown(*array[i]);
    set_result(result, all);
    return S_OK;
}

METHOD(fill) {
    IDispatch* const array = CDispParamsMaster(params).Get_Dispatch_Param(0, nullptr);
    const long status = world_of(user).child->Push_To_Array(array);
    return status == S_OK ? world_of(user).part.wrapper->Push_To_Array(array) : status;
}

/// (object, method, argument)
METHOD(call_back) {
    CDispParamsMaster arguments(params);
    IDispatch* const object = arguments.Get_Dispatch_Param(0, nullptr);
    char16_t* name = arguments.Get_Str_Param(1, u"");
    DISPID id = 0;
    long status = object->GetIDsOfNames(IID_NULL, &name, 1, 0, &id);
    DISPPARAMS one{arguments.Get_Variant(2, nullptr), nullptr, 1, 0};
    EXCEPINFO why{};
    if (status == S_OK)
        status = object->Invoke(id, IID_NULL, 0, DISPATCH_METHOD, &one, result, &why, nullptr);
    if (status == DISP_E_EXCEPTION) {
        const auto text = narrow(why.bstrDescription) + "|" + narrow(why.bstrSource);
        world_of(user).native->Set_Property(u"lastFailure", text.c_str());
    }
    SysFreeString(why.bstrSource);
    SysFreeString(why.bstrDescription);
    return status;
}

METHOD(make_method) {
    void* methods = nullptr;
    self->QueryInterface(IID_IResultDispatchInterface2, &methods);
    auto* const face = static_cast<IResultDispatchInterface2*>(methods);
    face->Set_Method(CDispParamsMaster(params).Get_Str_Param(0, u""), describe, 0, 0);
    face->Release();
    return S_OK;
}

METHOD(detach) { return world_of(user).part.wrapper->Detach_Target(); }

void set_methods(IResultDispatchInterface* object, World* world,
                 std::initializer_list<std::pair<char16_t const*, ResultMethodProc>> methods) {
    void* face = nullptr;
    object->QueryInterface(IID_IResultDispatchInterface2, &face);
    for (const auto& [name, procedure] : methods)
        static_cast<IResultDispatchInterface2*>(face)->Set_Method(name, procedure,
                                                                  reinterpret_cast<long>(world), 0);
    static_cast<IResultDispatchInterface2*>(face)->Release();
}

IDispatch* face_of(IUnknown* object) {
    void* face = nullptr;
    object->QueryInterface(IID_IDispatch, &face);
    object->Release();  // the caller's own keeps it
    return static_cast<IDispatch*>(face);
}

class Scripting : public testing::TestWithParam<char const*> {
protected:
    Scripting() : engine(script::make_engine(GetParam())) {
        world.child->Set_Property(u"name", u"child");
        world.other->Set_Property(u"name", u"other");
        set_methods(world.test, &world, {{u"check", check}});
        engine->define("test", face_of(world.test));
        engine->define("other", face_of(world.other));
        engine->define("wrapped", face_of(world.part.wrapper));
    }

    void define_native(bool with_values) {
        IResultDispatchInterface* const native = world.native;
        if (with_values) {
            native->Set_Property(u"number", -5);
            native->Set_Property(u"text", u"text");
            native->Set_Property(u"truth", true);
            native->Set_Property(u"unsigned", 0xFFFFFFFFU);
            native->Set_Property(u"large", 1L << 40);
            native->Set_Property(u"child", face_of(world.child));
        }
        engine->define("native", face_of(native));
    }

    void define_methods() {
        set_methods(world.native, &world,
                    {{u"describe", describe},
                     {u"echo", echo},
                     {u"sum", sum},
                     {u"refuse", refuse},
                     {u"fault", cause_fault},
                     {u"throwValue", throw_value},
                     {u"load", load},
                     {u"fill", fill},
                     {u"callBack", call_back},
                     {u"makeMethod", make_method},
                     {u"detach", detach}});
    }

    bool run(std::string_view source) { return engine->run(source, "test.js", &failure); }

    /// Runs a file of the suite, then takes everything down and counts what is left.
    void run_file(char const* name) {
        ASSERT_TRUE(run(kPrelude)) << failure;
        EXPECT_TRUE(run(read_file(std::string(TARNWILLOW_SCRIPTS) + "/" + name))) << failure;
        engine->collect_garbage();
        EXPECT_GE(world.checks, 8);
        for (const std::string& text : world.failures)
            ADD_FAILURE() << text;
    }

    void take_down() {
        engine.reset();
        EXPECT_EQ(world.native->Release(), 0U);
        EXPECT_EQ(world.test->Release(), 0U);
        EXPECT_EQ(world.child->Release(), 0U);
        EXPECT_EQ(world.other->Release(), 0U);
        EXPECT_EQ(world.part.wrapper->Release(), 0U);
        EXPECT_EQ(script::live_references(), 0);
    }

    World world;
    std::unique_ptr<script::ScriptEngine> engine;
    std::string failure;
};

TEST_P(Scripting, ReadsWritesAndCreatesProperties) {
    define_native(true);
    run_file("properties.js");
    take_down();
}

TEST_P(Scripting, CallsMethodsWithEveryType) {
    define_native(true);
    define_methods();
    run_file("methods.js");
    take_down();
}

TEST_P(Scripting, SeesFailuresAsErrors) {
    define_native(true);
    define_methods();
    run_file("failures.js");
    take_down();
}

TEST_P(Scripting, LendsItsArraysToNativeCode) {
    define_methods();
    define_native(false);
    run_file("arrays.js");
    take_down();
}

TEST_P(Scripting, KeepsAnEmptyShellOfADetachedObject) {
    define_methods();
    define_native(false);
    run_file("wrapped.js");
    take_down();
    EXPECT_FALSE(world.part.released);
}

TEST_P(Scripting, TellsTheErrorsOfAScript) {
    EXPECT_FALSE(run("var a = ;"));
    EXPECT_NE(failure.find("test.js"), std::string::npos) << failure;
    EXPECT_FALSE(run("\nthrow new Error('on purpose');"));
    EXPECT_NE(failure.find("on purpose"), std::string::npos) << failure;
    EXPECT_TRUE(run("var after = 1;")) << failure;
    take_down();
}

TEST_P(Scripting, LeavesNativeHoldsThatOutliveTheEngine) {
    define_native(false);
    ASSERT_TRUE(run("native.kept = { a: 1 };")) << failure;
    IDispatch* kept = nullptr;
    {
        CDispatchMaster native(face_of(world.native));
        EXPECT_EQ(native.Get_Property(u"kept", &kept), S_OK);
        CDispatchMaster master(kept);
        long number = 0;
        EXPECT_EQ(master.Get_Property(u"a", &number), S_OK);
        EXPECT_EQ(number, 1);
        EXPECT_EQ(master.Set_Property(u"a", u"text"), S_OK);
        EXPECT_EQ(master.Get_Property(u"b", &number), DISP_E_UNKNOWNNAME);
        engine.reset();
        EXPECT_EQ(master.Get_Property(u"a", &number), E_UNEXPECTED);
    }
    kept->Release();
    take_down();
}

INSTANTIATE_TEST_SUITE_P(Engines, Scripting, testing::Values("duktape", "mujs"),
                         [](const auto& info) { return std::string(info.param); });

}  // namespace
}  // namespace tarnwillow::test
