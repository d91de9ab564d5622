#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "scriptObject.h"
#include "support/failingAllocator.h"
#include "support/reports.h"
#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/platform/lastError.h"

namespace tarnwillow::test {
namespace {

/// All arguments in the order of the script.
std::string arguments(CDispParamsMaster& list) {
    std::string all;
    for (int i = 0; i < list.Count_Params(); ++i)
        all += (i > 0 ? ", " : "") + shown(*list.Get_Variant(i, nullptr));
    return all;
}

/// The DISPPARAMS of a call that came in, from values in the order of the script.
class Call : public DISPPARAMS {
public:
    explicit Call(std::vector<Value> values)
        : DISPPARAMS{}, reversed(values.rbegin(), values.rend()) {
        rgvarg = reversed.data();
        cArgs = static_cast<std::uint32_t>(reversed.size());
    }

private:
    std::vector<Value> reversed;
};

TEST(DispParams, AreBuiltInReverse) {
    CDispParamsMaster list;
    EXPECT_EQ(list.Get_Param_Array(), nullptr);
    EXPECT_EQ(list.Add_Param(u"a"), S_OK);
    EXPECT_EQ(list.Add_Param(5), S_OK);
    EXPECT_EQ(list.Add_Param(true), S_OK);
    DISPPARAMS* const call = list.Get_Param_Array();
    ASSERT_EQ(call->cArgs, 3U);
    EXPECT_EQ(call->cNamedArgs, 0U);
    EXPECT_EQ(shown(call->rgvarg[0]), "BOOL -1");
    EXPECT_EQ(shown(call->rgvarg[2]), "BSTR \"a\"");
    EXPECT_EQ(list.Get_Param_Array(), call);
    EXPECT_EQ(arguments(list), "BSTR \"a\", I4 5, BOOL -1");
}

template <class T>
concept Addable = requires(CDispParamsMaster& list, T value) {
    list.Add_Param(value);
};

TEST(DispParams, TakeEveryTypeAndNoOther) {
    static_assert(Addable<char const*> && Addable<unsigned> && Addable<std::nullptr_t>);
    static_assert(!Addable<wchar_t const*> && !Addable<void*> && !Addable<double>);
    CDispParamsMaster list;
    char narrow[] = "n\xC3\xA4";
    list.Add_Param(narrow);
    list.Add_Param(-3L);
    list.Add_Param(7U);
    list.Add_Param(0xFFFFFFFFUL);
    list.Add_Param(-5LL);
    list.Add_Param(nullptr);
    list.Add_Param(static_cast<char16_t const*>(nullptr));
    EXPECT_EQ(list.Add_Param(~0ULL), E_INVALIDARG);
    EXPECT_EQ(arguments(list),
              "BSTR \"n\xE4\", I4 -3, I4 7, I8 4294967295, I4 -5, NULL, BSTR null");
}

/// The protected operations.
struct Builder : CDispParamsMaster {
    using CDispParamsMaster::Add_Param;
    using CDispParamsMaster::CDispParamsMaster;
    using CDispParamsMaster::Pre_Add;
};

TEST(DispParams, OfARawTypeAreReadByIt) {
    const long number = -7;
    const unsigned char one = 1, two = 2;
    Builder list;
    list.Add_Param(VT_EMPTY, nullptr);
    list.Add_Param(VT_NULL, &number);
    list.Add_Param(VT_I4, &number);
    list.Add_Param(VT_BOOL, &one);
    list.Add_Param(VT_BOOL, &two);
    list.Add_Param(VT_BSTR, u"a");
    for (const VARTYPE refused : {VT_R8, VT_I8, VT_VARIANT})
        EXPECT_EQ(list.Add_Param(refused, &number), E_INVALIDARG) << refused;
    EXPECT_EQ(list.Add_Param(VT_I4, nullptr), E_INVALIDARG);
    EXPECT_EQ(arguments(list), "EMPTY, NULL, I4 -7, BOOL -1, BOOL 0, BSTR \"a\"");
    EXPECT_EQ(Builder(list.Get_Param_Array()).Pre_Add(), E_UNEXPECTED);
}

TEST(DispParams, OfAVariantAreCopies) {
    Value text(u"a"), array(VT_ARRAY);
    CDispParamsMaster list;
    EXPECT_EQ(list.Add_Param(&text), S_OK);
    EXPECT_EQ(list.Add_Param(static_cast<VARIANT*>(nullptr)), S_OK);
    EXPECT_EQ(list.Add_Null_Param(), S_OK);
    EXPECT_EQ(list.Add_Param(&array), DISP_E_BADVARTYPE);
    VariantClear(&text);
    EXPECT_EQ(arguments(list), "BSTR \"a\", NULL, NULL");
}

TEST(DispParams, ThatSomebodyKeepsMayBeReadWhileMoreAreAdded) {
    CDispParamsMaster list;
    list.Add_Param(1);
    CDispParamsMaster reader(list.Get_Param_Array());
    list.Add_Param(u"a");
    EXPECT_EQ(arguments(reader), "I4 1, BSTR \"a\"");
    list.Clear_Params();
    EXPECT_EQ(arguments(reader), "");
}

TEST(DispParams, HoldReferencesUntilTheyAreCleared) {
    CountedObject object;
    CDispParamsMaster list;
    EXPECT_EQ(list.Add_Param(&object), S_OK);
    EXPECT_EQ(list.Add_Param(static_cast<IUnknown*>(&object)), S_OK);
    EXPECT_EQ(list.Add_Param(static_cast<IDispatch*>(nullptr)), S_OK);
    EXPECT_EQ(object.references, 2U);
    EXPECT_EQ(arguments(list), "DISPATCH, UNKNOWN, NULL");
    EXPECT_EQ(list.Get_Dispatch_Param(0, nullptr), &object);
    EXPECT_EQ(list.Get_IUnknown_Param(1, nullptr), &object);
    EXPECT_EQ(list.Clear_Params(), S_OK);
    EXPECT_EQ(object.references, 0U);
    EXPECT_EQ(list.Get_Param_Array()->cArgs, 0U);
}

TEST(DispParams, AreTwentyAtMost) {
    CDispParamsMaster list;
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(list.Add_Param(i), S_OK);
    EXPECT_EQ(list.Add_Param(20), E_OUTOFMEMORY);
    EXPECT_EQ(list.Add_Param(~0ULL), E_OUTOFMEMORY);
    EXPECT_EQ(list.Get_Numeric_Param(19, -1), 19);
    EXPECT_EQ(list.Get_Param_Array()->rgvarg[0].lVal, 19);
}

TEST(DispParams, OfAReaderStayAsTheyAre) {
    Call call({Value(VT_I4, 1)});
    CDispParamsMaster reader(&call);
    EXPECT_EQ(reader.Add_Param(1), E_UNEXPECTED);
    EXPECT_EQ(reader.Clear_Params(), E_UNEXPECTED);
    EXPECT_EQ(reader.Get_Param_Array(), &call);
    EXPECT_EQ(reader.Count_Params(), 1);
    CDispParamsMaster empty(nullptr);
    EXPECT_EQ(empty.Count_Params(), 0);
    EXPECT_EQ(empty.Get_Numeric_Param(0, 7), 7);
}

TEST(DispParams, OfAnotherTypeGiveTheDefault) {
    Call call({Value(u"5"), Value(VT_I2, 5), Value(VT_I8, 1LL << 40), Value(VT_BOOL, 1),
               Value(VT_BSTR), Value(VT_BOOL, -1)});
    CDispParamsMaster list(&call);
    const auto not_found = [] {
        const bool told = GetLastError() == static_cast<std::uint32_t>(ERROR_NOT_FOUND);
        SetLastError(0);
        return told;
    };
    for (const int index : {0, 1, 2, -1, 6}) {
        EXPECT_EQ(list.Get_Numeric_Param(index, -9), -9) << index;
        EXPECT_TRUE(not_found()) << index;
    }
    EXPECT_EQ(list.Get_Numeric_Param_64(2, 0), 1LL << 40);
    EXPECT_FALSE(list.Get_Bool_Param(3, true));
    EXPECT_TRUE(list.Get_Bool_Param(5, false));
    EXPECT_STREQ(reinterpret_cast<char*>(list.Get_Str_Param(4, u"default")), "");
    EXPECT_FALSE(not_found());
    EXPECT_EQ(list.Get_Str_Param(1, nullptr), nullptr);
    EXPECT_EQ(list.Get_Variant(9, &call.rgvarg[0]), &call.rgvarg[0]);
    EXPECT_TRUE(not_found());
    EXPECT_EQ(list.Get_Param_Type(9), -1);
    EXPECT_EQ(list.Get_Param_Type(1), VT_I2);
    EXPECT_FALSE(not_found());
}

TEST(DispParams, AreConvertedInPlaceOnRequest) {
    Call call({Value(u"12"), Value(VT_I4, 5), Value(u"x"), Value(VT_I2, 3)});
    CDispParamsMaster list(&call);
    void* value = nullptr;
    unsigned short actual = 77;
    EXPECT_EQ(list.Get_Param(1, &value, VT_I4, &actual, false), S_OK);
    EXPECT_EQ(actual, 77);
    EXPECT_EQ(*static_cast<long*>(value), 5);
    EXPECT_EQ(list.Get_Param(0, &value, VT_I4, &actual, false), E_INVALIDARG);
    EXPECT_EQ(actual, VT_BSTR);
    EXPECT_EQ(list.Get_Param(0, &value, VT_I4, nullptr, true), S_OK);
    EXPECT_EQ(value, &call.rgvarg[3].llVal);
    EXPECT_EQ(*static_cast<long*>(value), 12);
    EXPECT_EQ(list.Get_Param(2, &value, VT_I4, &actual, true), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(list.Get_Param(3, &value, VT_R8, &actual, true), E_INVALIDARG);
    EXPECT_EQ(arguments(list), "I4 12, I4 5, BSTR \"x\", R8 3");
    EXPECT_EQ(list.Get_Param(4, &value, VT_I4, &actual, true), E_INVALIDARG);
    EXPECT_EQ(list.Get_Param(0, nullptr, VT_I4, &actual, true), E_INVALIDARG);
}

TEST(DispParams, ThatACallConvertedAreReleasedOnce) {
    CDispParamsMaster list;
    list.Add_Param(u"12");
    list.Add_Param(34);
    CDispParamsMaster callee(list.Get_Param_Array());
    void* value = nullptr;
    EXPECT_EQ(callee.Get_Param(0, &value, VT_I4, nullptr, true), S_OK);
    EXPECT_EQ(callee.Get_Param(1, &value, VT_BSTR, nullptr, true), S_OK);
    list.Add_Param(true);
    EXPECT_EQ(arguments(list), "I4 12, BSTR \"34\", BOOL -1");
}

TEST(DispParams, AreClonedDeeply) {
    CountedObject object;
    CDispParamsMaster list;
    list.Add_Param(u"a");
    list.Add_Param(&object);
    std::unique_ptr<CDispParamsMaster> clone(list.Clone());
    EXPECT_EQ(arguments(*clone), "BSTR \"a\", DISPATCH");
    EXPECT_NE(clone->Get_Str_Param(0, nullptr), list.Get_Str_Param(0, nullptr));
    EXPECT_EQ(object.references, 2U);
    Call call({Value(VT_I4, 4)});
    clone.reset(CDispParamsMaster(&call).Clone());
    EXPECT_EQ(arguments(*clone), "I4 4");
    EXPECT_EQ(clone->Add_Param(5), S_OK);
    clone.reset(CDispParamsMaster().Clone());
    EXPECT_EQ(clone->Get_Param_Array()->cArgs, 0U);
}

TEST(DispParams, WithoutMemoryStayAsTheyAre) {
    CDispParamsMaster list;
    {
        FailingAllocator none;
        EXPECT_EQ(list.Add_Param(1), S_OK);
        EXPECT_NE(list.Get_Param_Array(), nullptr);
        EXPECT_EQ(list.Clone(), nullptr);
        EXPECT_EQ(list.Add_Param("narrow"), E_OUTOFMEMORY);
    }
    EXPECT_EQ(arguments(list), "I4 1");
}

class Validation : public testing::Test {
protected:
    long validate(std::vector<Value> values, std::vector<int> types, int flags = 0, int least = 0,
                  int most = 9) {
        call = std::make_unique<Call>(std::move(values));
        CDispParamsMaster list(call.get());
        BSTR told = untouched.data();
        results.assign(call->cArgs + 1, 7);
        const long status =
            list.Validate_Params(least, most, flags, types.data(), results.data(), &told);
        text = told != nullptr ? told : u"";
        if (told != untouched.data()) SysFreeString(told);
        after = arguments(list);
        return status;
    }

    std::u16string untouched = u"untouched";
    std::unique_ptr<Call> call;
    std::vector<unsigned> results;
    std::u16string text;
    std::string after;
};

TEST_F(Validation, CountsFirst) {
    EXPECT_EQ(validate({}, {VT_I4}, 0, 1), DISP_E_PARAMNOTOPTIONAL);
    EXPECT_EQ(validate({Value(), Value()}, {VT_I4, VT_I4}, 0, 0, 1), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(validate({Value()}, {VT_I4}, 0, -1), DISP_E_PARAMNOTOPTIONAL);
    EXPECT_EQ(text, u"untouched");
    EXPECT_EQ(results[0], 7U);
    EXPECT_EQ(validate({Value()}, {0}, 0, 1, 1), S_OK);
    EXPECT_EQ(text, u"");
    EXPECT_EQ(results[0], 7U);
}

TEST_F(Validation, NamesEveryWrongArgument) {
    EXPECT_EQ(validate({Value(VT_NULL)}, {VT_DISPATCH}), S_OK);
    EXPECT_EQ(validate({Value(VT_I4, 1)}, {VT_DISPATCH}), E_INVALIDARG);
    EXPECT_EQ(text, u"Parameter 0: Wrong variant type specified");
    EXPECT_EQ(validate({Value(VT_I4, 1), Value(u"a"), Value(2.5), Value(VT_I2, 1)},
                       {VT_BSTR, VT_BSTR, VT_I4, VT_USERDEFINED}),
              E_INVALIDARG);
    EXPECT_EQ(text,
              u"Parameter 0: Wrong variant type specified "
              u"Parameter 2: Wrong variant type specified");
    EXPECT_EQ(results[0], static_cast<unsigned>(E_INVALIDARG));
    EXPECT_EQ(results[1], 0U);
    EXPECT_EQ(results[3], 0U);
    EXPECT_EQ(results[4], 7U);
    EXPECT_EQ(after, "I4 1, BSTR \"a\", R8 2.5, I2 1");
}

TEST_F(Validation, Converts) {
    EXPECT_EQ(validate({Value(u"12"), Value(VT_I4, 3)}, {VT_I4, VT_BSTR}, 1), S_OK);
    EXPECT_EQ(after, "I4 12, BSTR \"3\"");
    EXPECT_EQ(validate({Value(u"a"), Value(u"2")}, {VT_I4, VT_I4}, 1), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(after, "I4 0, I4 2");
    EXPECT_EQ(text, u"Parameter 0");
}

TEST_F(Validation, CutsItsText) {
    EXPECT_EQ(validate(std::vector<Value>(9), std::vector<int>(9, VT_I4)), E_INVALIDARG);
    EXPECT_EQ(text.size(), 255U);
}

/// Faults when it is asked for an interface.
struct FaultyObject : CountedObject {
    std::int32_t QueryInterface(GUID const&, void**) override {
        fault();
        return 0;
    }
};

TEST_F(Validation, SurvivesAFaultInAConversion) {
    FaultyObject object;
    EXPECT_EQ(validate({Value(&object)}, {VT_UNKNOWN}, 1), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(text, u"Parameter 0: Failed to convert the variant type");
    EXPECT_EQ(after, "DISPATCH");
    call.reset();  // ahead of the object
    EXPECT_EQ(object.references, 0U);
}

TEST_F(Validation, OfABuilderReleasesWhatItReplaces) {
    CDispParamsMaster list;
    list.Add_Param(u"12");
    list.Add_Param(u"x");
    const int types[] = {VT_I4, VT_I4};
    EXPECT_EQ(list.Validate_Params(2, 2, 1, types, nullptr, nullptr), DISP_E_TYPEMISMATCH);
    list.Add_Param(3);
    EXPECT_EQ(arguments(list), "I4 12, I4 0, I4 3");
}

}  // namespace
}  // namespace tarnwillow::test
