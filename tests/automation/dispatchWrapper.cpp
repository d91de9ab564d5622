#include <gtest/gtest.h>

#include "scriptObject.h"
#include "tarnwillow/automation/IObjectDispatchWrapper.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::test {
namespace {

/// Knows the name "known", and notes what it is called for.
class Target : public IScriptObjectTarget {
public:
    long Find_Member(char16_t* name) override {
        return wide::compare(name, u"known") == 0 ? 42 : -1;
    }
    long Put_Member(long id, VARIANT* value, char16_t* error_text) override {
        calls += "put " + std::to_string(id) + " " + shown(*value) + ";";
        return failure(error_text);
    }
    long Get_Member(long id, VARIANT* result, char16_t* error_text) override {
        calls += "get " + std::to_string(id) + ";";
        result->vt = VT_NULL;
        return failure(error_text);
    }
    long Call_Member(long id, DISPPARAMS* params, VARIANT*, char16_t* error_text) override {
        calls += "call " + std::to_string(id) + " " + std::to_string(params->cArgs) + ";";
        return failure(error_text);
    }
    unsigned long Get_Target_Value() override { return 7; }
    void Wrapper_Released() override {
        calls += wrapper->Is_Destroying() ? "released;" : "released early;";
        wrapper->AddRef();
        wrapper->Release();
    }

    std::string calls;
    long status = S_OK;
    char16_t const* text = u"";
    IObjectDispatchWrapper* wrapper = nullptr;

private:
    long failure(char16_t* error_text) const {
        wide::copy(error_text, 1024, text);
        return status;
    }
};

class DispatchWrapper : public testing::Test {
protected:
    DispatchWrapper() : wrapper(CreateObjectDispatchWrapper()) {
        wrapper->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&script));
        target.wrapper = wrapper;
    }
    ~DispatchWrapper() override {
        if (wrapper != nullptr) release();
    }

    void release() {
        script->Release();
        EXPECT_EQ(std::exchange(wrapper, nullptr)->Release(), 0U);
    }

    long find(std::u16string name) {
        char16_t* names[] = {name.data()};
        DISPID id = -77;
        const long status = script->GetIDsOfNames(IID_NULL, names, 1, 0, &id);
        return status == S_OK ? id : status;
    }

    long invoke(long id, int flags, EXCEPINFO* exception = nullptr) {
        Value argument(VT_I4, 5);
        DISPPARAMS params{&argument, nullptr, 1, 0};
        result = Value(VT_I2, 77);
        return script->Invoke(static_cast<DISPID>(id), IID_NULL, 0,
                              static_cast<std::uint16_t>(flags), &params, &result, exception,
                              nullptr);
    }

    /// Source, code and description of the exception that a read gives.
    std::string exception(long status, char16_t const* text) {
        target.status = status;
        target.text = text;
        EXCEPINFO info{};
        EXPECT_EQ(invoke(42, DISPATCH_PROPERTYGET, &info), DISP_E_EXCEPTION);
        char code[16];
        std::snprintf(code, sizeof(code), " %08X ", static_cast<unsigned>(info.scode));
        std::string all(info.bstrSource, info.bstrSource + SysStringLen(info.bstrSource));
        all += code;
        all.append(info.bstrDescription, info.bstrDescription + SysStringLen(info.bstrDescription));
        SysFreeString(info.bstrSource);
        SysFreeString(info.bstrDescription);
        return all;
    }

    Target target;
    IObjectDispatchWrapper* wrapper;
    IDispatch* script = nullptr;
    Value result;
};

TEST_F(DispatchWrapper, WithoutATargetIsEmpty) {
    unsigned long value = 0;
    EXPECT_EQ(find(u"known"), E_UNEXPECTED);
    EXPECT_EQ(invoke(-1, DISPATCH_PROPERTYGET), E_UNEXPECTED);
    EXPECT_EQ(wrapper->Get_Target_Value(&value), E_UNEXPECTED);
    Value self;
    EXPECT_EQ(wrapper->Get_Dispatch_Variant(&self), S_OK);
    EXPECT_EQ(self.pdispVal, script);
    void* face = nullptr;
    EXPECT_EQ(script->QueryInterface(IID_IObjectDispatchWrapper, &face), S_OK);
    EXPECT_EQ(face, wrapper);
    wrapper->Release();
    EXPECT_EQ(script->QueryInterface(IID_NULL, &face), E_NOINTERFACE);
    EXPECT_EQ(script->GetTypeInfoCount(nullptr), E_NOTIMPL);
}

TEST_F(DispatchWrapper, KeepsItsFirstTarget) {
    Target second;
    unsigned long value = 0;
    EXPECT_EQ(wrapper->Attach_Target(nullptr), E_INVALIDARG);
    EXPECT_EQ(wrapper->Attach_Target(static_cast<IScriptObjectTarget*>(&target)), S_OK);
    EXPECT_EQ(wrapper->Attach_Target(static_cast<IScriptObjectTarget*>(&second)), E_UNEXPECTED);
    EXPECT_EQ(wrapper->Get_Target_Value(&value), S_OK);
    EXPECT_EQ(value, 7U);
}

class AttachedWrapper : public DispatchWrapper {
protected:
    AttachedWrapper() { wrapper->Attach_Target(static_cast<IScriptObjectTarget*>(&target)); }
};

TEST_F(AttachedWrapper, PassesCallsOn) {
    EXPECT_EQ(find(u"known"), 42);
    EXPECT_EQ(find(u"other"), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(invoke(42, 2), S_OK);
    EXPECT_EQ(invoke(42, 4), S_OK);
    EXPECT_EQ(invoke(42, 1), S_OK);
    EXPECT_EQ(invoke(42, 3), S_OK);
    EXPECT_EQ(invoke(42, 8), E_NOTIMPL);
    EXPECT_EQ(target.calls, "get 42;put 42 I4 5;call 42 1;call 42 1;");
    EXPECT_EQ(script->Invoke(42, IID_IUnknown, 0, 2, nullptr, nullptr, nullptr, nullptr),
              DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(script->Invoke(42, IID_NULL, 0, 4, nullptr, nullptr, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(script->Invoke(42, IID_NULL, 0, 2, nullptr, nullptr, nullptr, nullptr), E_INVALIDARG);
}

TEST_F(AttachedWrapper, AnswersNullForTheUnknownNumber) {
    EXPECT_EQ(script->Invoke(-1, IID_IUnknown, 0, 1, nullptr, &result, nullptr, nullptr), S_OK);
    EXPECT_EQ(shown(result), "NULL");
    EXPECT_EQ(invoke(-1, 4), S_OK);
    EXPECT_EQ(target.calls, "");
}

TEST_F(AttachedWrapper, TellsFailuresAsExceptions) {
    EXPECT_EQ(exception(E_FAIL, u"it broke"), "tarnwillow 80004005 it broke");
    EXPECT_EQ(exception(E_FAIL, u""), "tarnwillow 80004005 Unspecified error");
    EXPECT_EQ(exception(ERROR_FILE_NOT_FOUND, u""), "tarnwillow 80070002 The file was not found");
    EXPECT_EQ(invoke(42, 2), ERROR_FILE_NOT_FOUND);
}

TEST_F(AttachedWrapper, ThatIsDetachedAnswersNullEverywhere) {
    unsigned long value = 0;
    EXPECT_EQ(wrapper->Detach_Target(), S_OK);
    EXPECT_EQ(find(u"anything"), -1);
    for (const int flags : {1, 2, 4, 8}) {
        EXPECT_EQ(invoke(42, flags), S_OK);
        EXPECT_EQ(shown(result), "NULL");
    }
    EXPECT_EQ(wrapper->Get_Target_Value(&value), E_UNEXPECTED);
    release();
    EXPECT_EQ(target.calls, "");
}

TEST_F(AttachedWrapper, TellsItsTargetOnceThatItGoes) {
    EXPECT_FALSE(wrapper->Is_Destroying());
    release();
    EXPECT_EQ(target.calls, "released;");
}

TEST_F(AttachedWrapper, IsPushedToAnArray) {
    Held array(new ScriptArray({}));
    EXPECT_EQ(wrapper->Push_To_Array(array), S_OK);
    EXPECT_EQ(array->elements[0].pdispVal, script);
}

}  // namespace
}  // namespace tarnwillow::test
