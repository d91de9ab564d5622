#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "scriptObject.h"
#include "support/failingAllocator.h"
#include "support/reports.h"
#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/automation/IResultDispatchInterface.h"

namespace tarnwillow::test {
namespace {

/// What a call gave: a value, or a status with what the exception tells.
std::string told(long status, const VARIANT& result, const EXCEPINFO* exception) {
    if (status == S_OK) return shown(result);
    char text[32];
    std::snprintf(text, sizeof(text), "%08X", static_cast<unsigned>(status));
    if (exception == nullptr || exception->bstrSource == nullptr) return text;
    const auto narrow = [](BSTR string) {
        return std::string(string, string + SysStringLen(string));
    };
    std::snprintf(text, sizeof(text), " %08X ", static_cast<unsigned>(exception->scode));
    return narrow(exception->bstrSource) + text + narrow(exception->bstrDescription);
}

class ResultDispatch : public testing::Test {
protected:
    ResultDispatch() : object(CreateResultDispatch()) {
        object->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&script));
        object->QueryInterface(IID_IResultDispatchInterface2, reinterpret_cast<void**>(&methods));
    }
    ~ResultDispatch() override {
        script->Release();
        methods->Release();
        EXPECT_EQ(object->Release(), 0U);
    }

    long id_of(std::u16string name) {
        DISPID id = -77;
        char16_t* names[] = {name.data()};
        const long status = script->GetIDsOfNames(IID_NULL, names, 1, 0, &id);
        return status == S_OK ? id : status;
    }

    std::string invoke(long id, int flags, std::vector<Value> arguments = {},
                       bool with_exception = false) {
        Value result(VT_I2, 77);
        std::vector<Value> reversed(arguments.rbegin(), arguments.rend());
        DISPPARAMS params{reversed.data(), nullptr, static_cast<std::uint32_t>(reversed.size()), 0};
        EXCEPINFO exception{};
        const long status =
            script->Invoke(static_cast<DISPID>(id), IID_NULL, 0, static_cast<std::uint16_t>(flags),
                           &params, &result, with_exception ? &exception : nullptr, nullptr);
        const std::string text = told(status, result, with_exception ? &exception : nullptr);
        SysFreeString(exception.bstrSource);
        SysFreeString(exception.bstrDescription);
        return text;
    }

    std::string get(std::u16string name) { return invoke(id_of(name), DISPATCH_PROPERTYGET); }
    std::string put(std::u16string name, Value value) {
        return invoke(id_of(name), DISPATCH_PROPERTYPUT, {std::move(value)});
    }
    std::string call(std::u16string name, std::vector<Value> arguments = {},
                     bool with_exception = false) {
        return invoke(id_of(name), DISPATCH_METHOD, std::move(arguments), with_exception);
    }

    IResultDispatchInterface* object;
    IDispatch* script = nullptr;
    IResultDispatchInterface2* methods = nullptr;
};

constexpr char kUnexpected[] = "8000FFFF";
constexpr char kNotImplemented[] = "80004001";
constexpr char kUntouched[] = "I2 77";

TEST_F(ResultDispatch, HasThreeFacesAndOneCount) {
    EXPECT_EQ(script->AddRef(), 4U);
    EXPECT_EQ(methods->Release(), 3U);
    void* face = nullptr;
    EXPECT_EQ(methods->QueryInterface(IID_IUnknown, &face), S_OK);
    EXPECT_EQ(face, object);
    object->Release();
    EXPECT_EQ(object->QueryInterface(GUID{1, 2, 3, {}}, &face), E_NOINTERFACE);
    EXPECT_EQ(face, nullptr);
    EXPECT_EQ(script->GetTypeInfoCount(nullptr), E_NOTIMPL);
    EXPECT_EQ(script->GetTypeInfo(0, 0, nullptr), E_NOTIMPL);
    Value held;
    EXPECT_EQ(object->Get_Dispatch_Variant(&held), S_OK);
    EXPECT_EQ(held.pdispVal, script);
}

TEST_F(ResultDispatch, KeepsValuesOfEveryType) {
    const auto kept = [this](auto value) {
        EXPECT_EQ(object->Set_Property(u"p", value), S_OK);
        return get(u"P");
    };
    char16_t wide[] = u"wide";
    char narrow[] = "n\xC3\xA4";
    EXPECT_EQ(kept(5), "I4 5");
    EXPECT_EQ(kept(-5L), "I4 -5");
    EXPECT_EQ(kept(1L << 40), "I8 1099511627776");
    EXPECT_EQ(kept(5U), "UI4 5");
    EXPECT_EQ(kept(0xFFFFFFFFUL), "UI4 4294967295");
    EXPECT_EQ(kept(1UL << 40), "I8 1099511627776");
    EXPECT_EQ(kept(-1LL), "I8 -1");
    EXPECT_EQ(kept(true), "BOOL -1");
    EXPECT_EQ(kept(false), "BOOL 0");
    EXPECT_EQ(kept(wide), "BSTR \"wide\"");
    EXPECT_EQ(kept(narrow), "BSTR \"n\xE4\"");
    EXPECT_EQ(kept(u"literal"), "BSTR \"literal\"");
    EXPECT_EQ(kept(nullptr), kUntouched);
    EXPECT_EQ(kept(static_cast<char const*>(nullptr)), kUntouched);
    EXPECT_EQ(kept(script), "DISPATCH");
    EXPECT_EQ(kept(static_cast<IDispatch*>(nullptr)), "DISPATCH null");
    EXPECT_EQ(get(u"length"), "I4 1");
    EXPECT_EQ(object->Set_Property(u"p", ~0UL), E_INVALIDARG);
    EXPECT_EQ(object->Set_Property(nullptr, 1), E_INVALIDARG);
}

TEST_F(ResultDispatch, ChecksTheSizeOfRawValues) {
    const long number = 9;
    EXPECT_EQ(object->Set_Property(u"n", VT_I4, &number, 4), S_OK);
    EXPECT_EQ(object->Set_Property(u"n", VT_I4, &number, sizeof(number)), S_OK);
    EXPECT_EQ(get(u"n"), "I4 9");
    EXPECT_EQ(object->Set_Property(u"n", VT_I4, &number, 2), E_INVALIDARG);
    EXPECT_EQ(object->Set_Property(u"n", VT_DISPATCH, &number, 4), E_INVALIDARG);
    EXPECT_EQ(object->Set_Property(u"n", VT_BSTR, u"ab", 4), E_INVALIDARG);
    EXPECT_EQ(object->Set_Property(u"n", VT_I8, nullptr, 8), E_INVALIDARG);
    EXPECT_EQ(object->Set_Property(u"n", VT_EMPTY, nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(object->Set_Property(u"r", VT_R8, &number, 8), S_OK);
    EXPECT_EQ(get(u"n"), "I4 9");
    EXPECT_EQ(get(u"r"), kUntouched);
}

TEST_F(ResultDispatch, FindsMembersWhateverTheirCase) {
    object->Set_Property(u"a", 1);
    object->Set_Property(u"A", u"text");
    EXPECT_EQ(get(u"length"), "I4 1");
    EXPECT_EQ(call(u"memberName", {Value(VT_I4, 0)}), "BSTR \"a\"");
    EXPECT_EQ(get(u"a"), "BSTR \"text\"");
    const std::u16string longest(255, u'x');
    object->Set_Property((longest + u"tail").c_str(), 7);
    EXPECT_EQ(get(longest), "I4 7");
    EXPECT_EQ(get(longest + u"other"), "I4 7");
}

TEST_F(ResultDispatch, TellsNamesApartThatBeginAlike) {
    for (int i = 0; i < 26; ++i)
        object->Set_Property((u"begin" + std::u16string(1, char16_t(u'a' + i))).c_str(), i);
    object->Set_Property(u"begin", 26);
    object->Set_Property(u"5", 27);
    for (int turn = 0; turn < 2; ++turn) {
        for (int i = 0; i < 26; ++i)
            EXPECT_EQ(get(u"BEGIN" + std::u16string(1, char16_t(u'a' + i))),
                      "I4 " + std::to_string(i));
        EXPECT_EQ(get(u"begin"), "I4 26");
        EXPECT_EQ(get(u"5"), "I4 5");  // the place, not the member of that name
    }
    EXPECT_EQ(get(u"length"), "I4 28");
}

TEST_F(ResultDispatch, HoldsOneReferenceOnAnObject) {
    CountedObject first, second;
    object->Set_Property(u"p", &first);
    object->Set_Property(u"p", &first);
    EXPECT_EQ(first.references, 1U);
    object->Set_Property(u"p", &second);
    EXPECT_EQ(first.references, 0U);
    EXPECT_EQ(get(u"p"), "DISPATCH");
    EXPECT_EQ(second.references, 1U);
    methods->Set_Method(
        u"p", [](auto...) { return S_OK; }, 0, 0);
    EXPECT_EQ(second.references, 0U);
    put(u"q", Value(&first));
    EXPECT_EQ(first.references, 1U);
    object->Set_Property(u"q", nullptr);
    EXPECT_EQ(first.references, 0U);
}

TEST(ResultDispatchEnd, ReleasesMembersThatLookBack) {
    IResultDispatchInterface* const object = CreateResultDispatch();
    struct LooksBack : CountedObject {
        std::uint32_t Release() override {
            holder->AddRef();
            holder->Release();
            return CountedObject::Release();
        }
        IUnknown* holder = nullptr;
    } member;
    member.holder = object;
    object->Set_Property(u"p", &member);
    EXPECT_EQ(object->Release(), 0U);
    EXPECT_EQ(member.references, 0U);
}

TEST_F(ResultDispatch, CreatesEveryNameThatAScriptAsksFor) {
    EXPECT_EQ(get(u"length"), "BSTR \"\"");  // no members yet: a member like any other
    EXPECT_EQ(get(u"newProp"), "BSTR \"\"");
    EXPECT_EQ(call(u"memberName", {Value(VT_I4, 1)}), "BSTR \"NEWPROP\"");
    EXPECT_EQ(put(u"newProp", Value(VT_I4, 5)), kUntouched);
    EXPECT_EQ(get(u"NEWPROP"), "I4 5");
    EXPECT_EQ(put(u"newProp", Value(2.5)), kNotImplemented);
    EXPECT_EQ(put(u"newProp", Value(VT_NULL)), kNotImplemented);
    EXPECT_EQ(get(u"newProp"), "I4 5");
    EXPECT_EQ(put(u"newProp", Value(VT_BSTR)), kUntouched);
    EXPECT_EQ(get(u"newProp"), "BSTR \"\"");
    using namespace std::string_literals;
    put(u"newProp", Value(u"a\0b"s));
    EXPECT_EQ(get(u"newProp"), "BSTR \"a0b\"");
    put(u"newProp", Value(VT_BOOL, -1));
    EXPECT_EQ(get(u"newProp"), "BOOL -1");
}

TEST_F(ResultDispatch, CountsIndexesAndNamesItsMembers) {
    object->Set_Property(u"one", 1);
    object->Set_Property(u"Two", 2);
    object->Set_Property(u"three", 3);
    EXPECT_EQ(id_of(u"length"), 1);
    EXPECT_EQ(id_of(u"MEMBERname"), 3);
    EXPECT_EQ(id_of(u"one"), 0x1000);
    EXPECT_EQ(id_of(u"2"), 0x1002);
    EXPECT_EQ(get(u"1"), "I4 2");
    EXPECT_EQ(get(u""), "I4 1");
    EXPECT_EQ(get(u"length"), "I4 3");
    EXPECT_EQ(call(u"memberName", {Value(VT_I4, 1)}), "BSTR \"Two\"");
    for (const std::vector<Value>& bad :
         {std::vector<Value>{Value(VT_I4, 3)}, {Value(VT_I4, -2)}, {Value(u"0")}, {}}) {
        EXPECT_EQ(call(u"memberName", bad), "00000490");
        EXPECT_EQ(call(u"memberName", bad, true), "Script 80070490 The element was not found");
    }
    EXPECT_EQ(id_of(u"7"), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(get(u"length"), "I4 4");
    object->Set_Property(u"length", u"mine");
    EXPECT_EQ(get(u"length"), "BSTR \"mine\"");
}

TEST_F(ResultDispatch, ResolvesSeveralNamesUpToTheFirstFailure) {
    object->Set_Property(u"a", 1);
    char16_t a[] = u"a", nine[] = u"9", b[] = u"b";
    char16_t* names[] = {a, nine, b};
    DISPID ids[] = {-5, -5, -5};
    EXPECT_EQ(script->GetIDsOfNames(IID_NULL, names, 3, 0, ids), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(ids[0], 0x1000);
    EXPECT_EQ(ids[2], -5);
    EXPECT_EQ(script->GetIDsOfNames(IID_NULL, names, 0, 0, ids), S_OK);
    EXPECT_EQ(script->GetIDsOfNames(IID_NULL, nullptr, 1, 0, ids), E_INVALIDARG);
}

TEST_F(ResultDispatch, RefusesNumbersThatAreNoMembers) {
    object->Set_Property(u"p", 1);
    const long pseudo[] = {DISPID_VALUE, -1, -1000};
    for (const long id : pseudo) {
        EXPECT_EQ(invoke(id, DISPATCH_PROPERTYGET), kUntouched) << id;
        EXPECT_EQ(invoke(id, DISPATCH_METHOD), kUnexpected) << id;
    }
    EXPECT_EQ(invoke(3, DISPATCH_PROPERTYGET, {}, true), kUnexpected);
    EXPECT_EQ(invoke(1, DISPATCH_METHOD, {}, true), kUnexpected);
    EXPECT_EQ(invoke(1, DISPATCH_PROPERTYPUT, {Value(VT_I4, 1)}, true), kUnexpected);
    std::mt19937 random(7);
    for (int i = 0; i < 1'000'000; ++i) {
        const auto id = static_cast<DISPID>(random() | 2U);
        if (id == 0x1000 || id == 3) continue;
        const auto flags = static_cast<std::uint16_t>(i % 2 != 0 ? DISPATCH_PROPERTYPUT : 1);
        ASSERT_EQ(script->Invoke(id, IID_NULL, 0, flags, nullptr, nullptr, nullptr, nullptr),
                  E_UNEXPECTED);
    }
}

TEST_F(ResultDispatch, TellsFailuresAsExceptions) {
    object->Set_Property(u"p", 1);
    methods->Set_Method(
        u"m", [](auto...) { return E_INVALIDARG; }, 0, 0);
    EXPECT_EQ(call(u"p"), kNotImplemented);
    EXPECT_EQ(call(u"p", {}, true), "Script 80004001 Not implemented");
    EXPECT_EQ(invoke(id_of(u"p"), 3), kNotImplemented);
    EXPECT_EQ(invoke(id_of(u"p"), 8, {}, true), "Script 80004001 Not implemented");
    EXPECT_EQ(get(u"m"), "80004005");
    EXPECT_EQ(invoke(id_of(u"m"), 2, {}, true), "Script 80004005 Unspecified error");
    EXPECT_EQ(call(u"m"), "80070057");
    EXPECT_EQ(call(u"m", {}, true), "Script 80070057 An argument is not valid");
    const DISPID id = static_cast<DISPID>(id_of(u"p"));
    EXPECT_EQ(script->Invoke(id, IID_IUnknown, 0, 2, nullptr, nullptr, nullptr, nullptr),
              DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(script->Invoke(id, IID_NULL, 0, 2, nullptr, nullptr, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(invoke(id, DISPATCH_PROPERTYPUT), "80070057");
}

long add(DISPPARAMS* params, VARIANT* result, EXCEPINFO*, unsigned*, IResultDispatchInterface* self,
         long first, long second) {
    CDispParamsMaster arguments(params);
    self->Set_Property(u"called", true);
    result->vt = VT_I4;
    result->llVal = arguments.Get_Numeric_Param(0, 0) + first + second;
    return S_OK;
}

TEST_F(ResultDispatch, RunsMethodsWithTheirUserValues) {
    EXPECT_EQ(methods->Set_Method(u"Add", add, 100, 1000), S_OK);
    EXPECT_EQ(call(u"add", {Value(VT_I4, 1)}), "I4 1101");
    EXPECT_EQ(get(u"called"), "BOOL -1");
    methods->Set_Method(u"called", add, 1, 1);
    EXPECT_EQ(call(u"called", {}), "I4 2");
    EXPECT_EQ(get(u"called"), "BOOL -1");  // the method made it a value again
    EXPECT_EQ(methods->Set_Method(u"none", nullptr, 0, 0), E_INVALIDARG);
}

long describe_and_fail(DISPPARAMS*, VARIANT*, EXCEPINFO* exception, unsigned*,
                       IResultDispatchInterface*, long, long) {
    exception->bstrDescription = SysAllocString(u"dropped");
    return E_FAIL;
}

TEST_F(ResultDispatch, SurvivesFaultsInMethods) {
    ReportCollector reports;
    methods->Set_Method(
        u"fault",
        [](auto...) -> long {
            fault();
            return S_OK;
        },
        0, 0);
    methods->Set_Method(
        u"throw", [](auto...) -> long { throw 7; }, 0, 0);
    methods->Set_Method(u"describe", describe_and_fail, 0, 0);
    EXPECT_EQ(call(u"fault", {}, true), "Script 80004005 Unspecified error");
    EXPECT_EQ(call(u"throw"), "80004005");
    EXPECT_EQ(call(u"describe", {}, true), "Script 80004005 Unspecified error");
    EXPECT_EQ(reports.names(),
              u"CResultDispEntry::Call_User_Method,CResultDispEntry::Call_User_Method");
}

TEST_F(ResultDispatch, WithoutMemoryChangesNothing) {
    object->Set_Property(u"p", u"a long enough text");
    {
        FailingAllocator none;
        EXPECT_EQ(object->Set_Property(u"p", u"another text of some length"), E_OUTOFMEMORY);
        EXPECT_EQ(object->Set_Property(u"q", 1), E_OUTOFMEMORY);
        EXPECT_EQ(CreateResultDispatch(), nullptr);
    }
    EXPECT_EQ(get(u"length"), "I4 1");
    EXPECT_EQ(get(u"p"), "BSTR \"a long enough text\"");
}

TEST_F(ResultDispatch, IsReadAndWrittenByADispatchMaster) {
    CDispatchMaster master(script);
    EXPECT_EQ(master.Set_Property(u"made", u"by name"), S_OK);
    char16_t text[16] = {};
    EXPECT_EQ(master.Get_Property(u"MADE", text, 15), S_OK);
    EXPECT_EQ(std::u16string(text), u"by name");
    methods->Set_Method(u"Add", add, 1, 2);
    Value result;
    EXPECT_EQ(master.Invoke_Method(u"Add(4)", nullptr, &result), S_OK);
    EXPECT_EQ(shown(result), "I4 7");
}

TEST_F(ResultDispatch, CountsReferencesInSeveralThreads) {
    const auto take_and_release = [this] {
        for (int i = 0; i < 20'000; ++i) {
            script->AddRef();
            object->Release();
        }
    };
    std::thread other(take_and_release);
    take_and_release();
    other.join();
    EXPECT_EQ(object->AddRef(), 4U);
    EXPECT_EQ(object->Release(), 3U);
}

TEST_F(ResultDispatch, IsPushedToAnArray) {
    Held array(new ScriptArray({Value(VT_I4, 1)}));
    EXPECT_EQ(object->Push_To_Array(array), S_OK);
    EXPECT_EQ(array->show(), "I4 1, DISPATCH");
    EXPECT_EQ(object->Push_To_Array(nullptr), E_UNEXPECTED);
}

}  // namespace
}  // namespace tarnwillow::test
