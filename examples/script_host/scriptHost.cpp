// A host of scripts in one file: a native counter and a result object, on the engine of your
// choice.
//
//     script_host [duktape|mujs]
#include <cstdio>

#include "ScriptEngine.h"
#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/IObjectDispatchWrapper.h"
#include "tarnwillow/automation/IResultDispatchInterface.h"
#include "tarnwillow/platform/status.h"

using namespace tarnwillow;

namespace {

/// A native object with one member, "value", that scripts read and write.
class Counter : public IScriptObjectTarget {
public:
    long Find_Member(char16_t* name) override {
        return std::u16string_view(name) == u"value" ? 0 : -1;
    }
    long Get_Member(long, VARIANT* result, char16_t*) override {
        result->vt = VT_I4;
        result->llVal = value;
        return S_OK;
    }
    long Put_Member(long, VARIANT* new_value, char16_t* error_text) override {
        if (new_value->vt == VT_I4) {
            value = new_value->lVal;
            return S_OK;
        }
        std::u16string_view(u"a counter takes whole numbers").copy(error_text, 1023);
        return E_INVALIDARG;
    }
    long Call_Member(long, DISPPARAMS*, VARIANT*, char16_t*) override { return E_NOTIMPL; }
    unsigned long Get_Target_Value() override { return static_cast<unsigned long>(value); }
    void Wrapper_Released() override {}

    long value = 40;
};

long print(DISPPARAMS* params, VARIANT*, EXCEPINFO*, unsigned int*, IResultDispatchInterface*, long,
           long) {
    CDispParamsMaster arguments(params);
    for (char16_t const* text = arguments.Get_Str_Param(0, u""); *text != 0; ++text)
        std::putchar(*text < 0x80 ? *text : '?');
    std::putchar('\n');
    return S_OK;
}

void define(script::ScriptEngine& engine, char const* name, IUnknown* object) {
    void* face = nullptr;
    if (object->QueryInterface(IID_IDispatch, &face) != S_OK) return;
    engine.define(name, static_cast<IDispatch*>(face));
    static_cast<IDispatch*>(face)->Release();
}

constexpr char kScript[] =
    "counter.value += 2;\n"
    "host.print('counter: ' + counter.value);\n"
    "try { counter.value = 'many'; } catch (e) { host.print(e.source + ': ' + e.message); }\n"
    "host.answer = [counter.value];\n"
    "for (var i = 0; i < host.length; ++i) host.print('member ' + i + ': ' + "
    "host.memberName(i));\n";

}  // namespace

int main(int argc, char** argv) {
    const auto engine = script::make_engine(argc > 1 ? argv[1] : "duktape");
    if (engine == nullptr) return 2;
    Counter counter;
    IObjectDispatchWrapper* const wrapper = CreateObjectDispatchWrapper();
    IResultDispatchInterface* const host = CreateResultDispatch();
    wrapper->Attach_Target(static_cast<IScriptObjectTarget*>(&counter));
    void* methods = nullptr;
    host->QueryInterface(IID_IResultDispatchInterface2, &methods);
    static_cast<IResultDispatchInterface2*>(methods)->Set_Method(u"print", print, 0, 0);
    static_cast<IResultDispatchInterface2*>(methods)->Release();
    define(*engine, "counter", wrapper);
    define(*engine, "host", host);
    std::string failure;
    const bool ran = engine->run(kScript, "example.js", &failure);
    if (!ran) std::fprintf(stderr, "%s\n", failure.c_str());
    wrapper->Detach_Target();  // the counter goes before the engine does
    wrapper->Release();
    host->Release();
    return ran ? 0 : 1;
}
