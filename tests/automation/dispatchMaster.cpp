#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "scriptObject.h"
#include "support/reports.h"
#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/automation/scriptMappings.h"

namespace tarnwillow::test {
namespace {

/// The protected operations.
class Master : public CDispatchMaster {
public:
    using CDispatchMaster::_Do_Invoke;
    using CDispatchMaster::CDispatchMaster;
    using CDispatchMaster::Get_Property_Variant;
    using CDispatchMaster::Parse_Parameter_String;
};

std::string arguments(DISPPARAMS const& params) {
    std::string all;
    for (std::uint32_t i = params.cArgs; i > 0; --i)
        all += (all.empty() ? "" : ", ") + shown(params.rgvarg[i - 1]);
    return "(" + all + ")";
}

class DispatchMaster : public testing::Test {
protected:
    DispatchMaster() : object(new ScriptObject), master(object) {
        object->set_method(u"Foo", [this](DISPPARAMS* params, VARIANT* result) {
            calls += arguments(*params);
            if (result != nullptr) *result = Value(VT_I4, 7);
            return S_OK;
        });
    }

    /// What arrives when the method is called by that text.
    std::string called(char16_t const* text, CDispParamsMaster* params = nullptr) {
        calls.clear();
        const long status = master.Invoke_Method(text, params, nullptr);
        return status == S_OK ? calls : std::to_string(static_cast<unsigned>(status));
    }

    std::string parsed(char16_t const* text) {
        CDispParamsMaster params;
        EXPECT_EQ(master.Parse_Parameter_String(&params, text), S_OK);
        return arguments(*params.Get_Param_Array());
    }

    std::string calls;
    Held<ScriptObject> object;
    Master master;
};

TEST_F(DispatchMaster, ReadsTextsOfEitherWidth) {
    object->set(u"t", Value(u"abc")).set(u"null", Value(VT_NULL)).set(u"none", Value(VT_BSTR));
    object->set(u"e", Value(u"\u00E4\u00E4"));
    char16_t wide[5] = u"zzzz";
    EXPECT_EQ(master.Get_Property(u"t", wide, 4), S_OK);
    EXPECT_EQ(std::u16string(wide, 5), std::u16string(u"abc\0\0", 5));
    std::fill(wide, wide + 5, u'z');
    EXPECT_EQ(master.Get_Property(u"t", wide, 3), S_OK);
    EXPECT_EQ(std::u16string(wide, 4), u"abcz");
    EXPECT_EQ(master.Get_Property(u"t", wide, 2), DISP_E_BUFFERTOOSMALL);
    EXPECT_EQ(wide[0], 0);
    EXPECT_EQ(master.Get_Property(u"null", wide, 3), S_OK);
    EXPECT_EQ(wide[0], 0);
    EXPECT_EQ(wide[1], 0xFFFF);
    EXPECT_EQ(master.Get_Property(u"null", wide, 2), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(master.Get_Property(u"none", wide, 4), S_OK);
    EXPECT_EQ(wide[0], 0);

    char narrow[5] = "zzzz";
    EXPECT_EQ(master.Get_Property(u"t", narrow, 4), S_OK);
    EXPECT_STREQ(narrow, "abc");
    narrow[3] = 'z';
    EXPECT_EQ(master.Get_Property(u"t", narrow, 3), S_OK);
    EXPECT_EQ(narrow[3], 'z');
    EXPECT_EQ(master.Get_Property(u"t", narrow, 2), DISP_E_BUFFERTOOSMALL);
    EXPECT_EQ(master.Get_Property(u"e", narrow, 3), DISP_E_BUFFERTOOSMALL);
    EXPECT_STREQ(narrow, "");
    EXPECT_EQ(master.Get_Property(u"e", narrow, 4), S_OK);
    EXPECT_EQ(std::string(narrow, 4), "\xC3\xA4\xC3\xA4");
    EXPECT_EQ(master.Get_Property(u"none", narrow, 0), S_OK);
}

TEST_F(DispatchMaster, ReadsNumbersAndTruths) {
    object->set(u"n", Value(VT_I4, -4)).set(u"t", Value(u" 99999999999x")).set(u"r", Value(1.5));
    object->set(u"b", Value(VT_BOOL, 1)).set(u"none", Value(VT_BSTR));
    long number = 1;
    EXPECT_EQ(master.Get_Property(u"n", &number), S_OK);
    EXPECT_EQ(number, -4);
    EXPECT_EQ(master.Get_Property(u"t", &number), S_OK);
    EXPECT_EQ(number, 0x7FFFFFFF);
    EXPECT_EQ(master.Get_Property(u"none", &number), S_OK);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(master.Get_Property(u"r", &number), DISP_E_TYPEMISMATCH);
    bool truth = false;
    EXPECT_EQ(master.Get_Property(u"b", &truth), S_OK);
    EXPECT_TRUE(truth);
    EXPECT_EQ(master.Get_Property(u"missing", &truth), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(master.Get_Property(u"n", &truth), DISP_E_TYPEMISMATCH);
    EXPECT_TRUE(truth);
    Value any;
    EXPECT_EQ(master.Get_Property_Variant(u"r", &any), S_OK);
    EXPECT_EQ(shown(any), "R8 1.5");
    unsigned short type = 0;
    EXPECT_EQ(master.Get_Property_Type(u"r", &type), S_OK);
    EXPECT_EQ(type, VT_R8);
}

TEST_F(DispatchMaster, ReadsObjectsWithAndWithoutAReference) {
    const int living = ScriptObject::living;
    {
        Held child(new ScriptObject);
        object->set(u"child", Value(child)).set(u"null", Value(VT_NULL));
        IDispatch* read = nullptr;
        EXPECT_EQ(master.Get_Property(u"child", &read), S_OK);
        EXPECT_EQ(child->references, 3U);
        read->Release();
        EXPECT_EQ(master.Get_Property_Without_Reference(u"child", &read), S_OK);
        EXPECT_EQ(read, child);
        EXPECT_EQ(child->references, 2U);
        EXPECT_EQ(master.Get_Property(u"null", &read), S_OK);
        EXPECT_EQ(read, nullptr);
        EXPECT_EQ(master.Get_Property(u"Foo", &read), DISP_E_TYPEMISMATCH);
    }
    object->set(u"child", Value());
    EXPECT_EQ(ScriptObject::living, living);
}

/// Hands out an object that it does not keep.
class Maker : public ScriptObject {
public:
    std::int32_t Invoke(DISPID, GUID const&, std::uint32_t, std::uint16_t, DISPPARAMS*,
                        VARIANT* result, EXCEPINFO*, std::uint32_t*) override {
        result->vt = VT_DISPATCH;
        result->pdispVal = new ScriptObject;
        return 0;
    }
};

TEST_F(DispatchMaster, LosesAnObjectThatNobodyElseHolds) {
    Held maker(new Maker);
    maker->set(u"made", Value());
    const int living = ScriptObject::living;
    IDispatch* read = object;
    EXPECT_EQ(Master(maker).Get_Property_Without_Reference(u"made", &read), S_OK);
    EXPECT_EQ(read, nullptr);
    EXPECT_EQ(ScriptObject::living, living);
}

TEST_F(DispatchMaster, WritesEveryType) {
    object->set(u"p", Value());
    const auto written = [this](auto value) {
        EXPECT_EQ(master.Set_Property(u"p", value), S_OK);
        return object->show(u"p");
    };
    EXPECT_EQ(written(u"wide"), "BSTR \"wide\"");
    EXPECT_EQ(written("narrow"), "BSTR \"narrow\"");
    EXPECT_EQ(written(5), "I4 5");
    EXPECT_EQ(written(1LL << 40), "I4 2147483647");
    EXPECT_EQ(written(~0UL), "I4 2147483647");
    EXPECT_EQ(written(true), "BOOL -1");
    EXPECT_EQ(written(nullptr), "NULL");
    EXPECT_EQ(written(static_cast<char const*>(nullptr)), "BSTR null");
    Value real(1.5);
    EXPECT_EQ(written(&real), "R8 1.5");
    EXPECT_EQ(master.Set_Property(u"missing", 1), DISP_E_UNKNOWNNAME);
}

TEST_F(DispatchMaster, WithoutAnObjectDoesNothing) {
    EXPECT_EQ(master.Reload_Dispatch(nullptr), 0);
    long number = 5;
    char16_t text[4] = u"old";
    EXPECT_EQ(master.Get_Property(u"n", &number), E_UNEXPECTED);
    EXPECT_EQ(master.Get_Property(u"n", text, 3), E_UNEXPECTED);
    EXPECT_EQ(text[0], 0);
    EXPECT_EQ(master.Set_Property(u"n", 1), E_UNEXPECTED);
    EXPECT_EQ(master._Do_Invoke(0, nullptr, nullptr, u"n"), E_UNEXPECTED);
    EXPECT_EQ(master.Invoke_Method(u"Foo(1)", nullptr, nullptr), E_UNEXPECTED);
    EXPECT_FALSE(master.Method_Available(u"Foo"));
    EXPECT_EQ(object->references, 1U);
    EXPECT_EQ(master.Reload_Dispatch(object), 0);
    EXPECT_EQ(master.Reload_Dispatch(object), 0);
    EXPECT_EQ(object->references, 2U);
    EXPECT_TRUE(master.Method_Available(u"Foo(1, 2)"));
    EXPECT_FALSE(master.Property_Available(u"Bar"));
    EXPECT_EQ(master.Get_Property(nullptr, &number), E_INVALIDARG);
    EXPECT_EQ(master.Get_Property(u"n", static_cast<long*>(nullptr)), E_INVALIDARG);
}

TEST_F(DispatchMaster, CallsByListOrByText) {
    CDispParamsMaster params;
    EXPECT_EQ(called(u"Foo", &params), "()");
    params.Add_Param(u"x");
    EXPECT_EQ(called(u"Foo()", &params), "(BSTR \"x\")");
    EXPECT_EQ(called(u"Foo(1)", &params), std::to_string(static_cast<unsigned>(E_INVALIDARG)));
    EXPECT_EQ(called(u"Foo"), "()");
    EXPECT_EQ(called(u"Foo("), "(BSTR \"\")");
    EXPECT_EQ(called(u"Foo( )"), "(BSTR \"\")");
    EXPECT_EQ(called(u"Foo(1)(2)"), "(I4 1)");
    EXPECT_EQ(called(u"Foo()(2)"), "(I4 2)");
    EXPECT_EQ(called((u"Foo('" + std::u16string(500, u'a') + u"');").c_str()),
              "(BSTR \"" + std::string(500, 'a') + "\")");
    Value result;
    EXPECT_EQ(master.Invoke_Method(u"Foo", nullptr, &result), S_OK);
    EXPECT_EQ(shown(result), "I4 7");
    EXPECT_EQ(master.Invoke_Method(u"Bar(1)", nullptr, nullptr), DISP_E_UNKNOWNNAME);
}

TEST_F(DispatchMaster, ReadsArgumentsAsAScriptWritesThem) {
    EXPECT_EQ(parsed(u"1, \"a,b\", 'c', true, false, null, bar, -1, 2x);"),
              "(I4 1, BSTR \"a,b\", BSTR \"c\", BOOL -1, BOOL 0, NULL, BSTR \"bar\", BSTR \"-1\", "
              "I4 2)");
    EXPECT_EQ(parsed(u"true ,true"), "(BSTR \"true \", BOOL -1)");
    EXPECT_EQ(parsed(u"'a,b'"), "(BSTR \"a\", BSTR \"b'\")");
    EXPECT_EQ(parsed(u"1|2|3"), "(I4 1, I4 2)");
    EXPECT_EQ(parsed(u"\"a|b\""), "(BSTR \"a,b\")");
    EXPECT_EQ(parsed(u"a,"), "(BSTR \"a\", BSTR \"\")");
    EXPECT_EQ(parsed(u")"), "(BSTR \")\")");
    EXPECT_EQ(parsed(u"99999999999"), "(I4 2147483647)");
    EXPECT_EQ(parsed(u"TRUE"), "(BSTR \"TRUE\")");
    CDispParamsMaster params;
    EXPECT_EQ(master.Parse_Parameter_String(&params, "1,'\xC3\xA4'"), S_OK);
    EXPECT_EQ(arguments(*params.Get_Param_Array()), "(I4 1, BSTR \"\xE4\")");
    EXPECT_EQ(master.Parse_Parameter_String(nullptr, u"1"), E_INVALIDARG);
}

TEST_F(DispatchMaster, DropsWhatComesBehindTwentyArguments) {
    std::u16string text = u"Foo(0";
    for (int i = 1; i < 25; ++i)
        text += u",1";
    const std::string arrived = called((text + u")").c_str());
    EXPECT_EQ(std::count(arrived.begin(), arrived.end(), ','), 19);
}

TEST_F(DispatchMaster, ParsesInSeveralThreadsAtOnce) {
    const auto work = [this] {
        for (int i = 0; i < 2000; ++i)
            if (parsed(u"1,2,3") != "(I4 1, I4 2, I4 3)") ADD_FAILURE() << i;
    };
    std::thread other(work);
    work();
    other.join();
}

TEST_F(DispatchMaster, SurvivesMethodsThatFaultOrThrow) {
    object->set_method(u"Fault", [](DISPPARAMS*, VARIANT*) -> long {
        fault();
        return S_OK;
    });
    object->set_method(u"Throw", [](DISPPARAMS*, VARIANT*) -> long { throw 5; });
    EXPECT_EQ(master.Invoke_Method(u"Fault", nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(master.Invoke_Method(u"Throw()", nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(called(u"Foo(1)"), "(I4 1)");
}

TEST_F(DispatchMaster, MayBeCalledBackByItsMethod) {
    object->set_method(u"Outer", [this](DISPPARAMS*, VARIANT*) {
        return master.Invoke_Method(u"Foo(2)", nullptr, nullptr);
    });
    EXPECT_EQ(called(u"Outer"), "(I4 2)");
}

TEST_F(DispatchMaster, CopiesATableOfMembers) {
    object->set(u"name", Value(u"n")).set(u"count", Value(VT_I4, -2));
    object->set(u"on", Value(VT_BOOL, -1)).set(u"address", Value(u"1.2.3.4"));
    char16_t name[8] = {};
    long count = 0;
    bool on = false;
    unsigned long address = 1;
    const JScriptObjectMappings table[] = {
        {u"name", name, kMappedText, 7},      {u"skipped", nullptr, 9, 0},
        {u"count", &count, kMappedNumber, 0}, {u"missing", &address, kMappedAddress, 0},
        {u"on", &on, kMappedBool, 0},         {nullptr, nullptr, 0, 0}};
    EXPECT_EQ(master.Convert_Object_Members(table, false), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(count, -2);
    EXPECT_FALSE(on);
    EXPECT_EQ(address, 1U);
    EXPECT_EQ(master.Convert_Object_Members(table, true), S_OK);
    EXPECT_STREQ(reinterpret_cast<char*>(name), "n");
    EXPECT_TRUE(on);
    EXPECT_EQ(address, 0U);
    const JScriptObjectMappings one[] = {{u"address", &address, kMappedAddress, 0}, {}};
    EXPECT_EQ(master.Convert_Object_Members(one, false), S_OK);
    EXPECT_EQ(address, 0x04030201U);
}

}  // namespace
}  // namespace tarnwillow::test
