#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/variants.h"
#include "tarnwillow/platform/statusText.h"

namespace tarnwillow::test {
namespace {

using namespace std::string_literals;

/// What the conversion gives, or the name of its failure; a failure changes nothing.
std::string converted(const VARIANT& source, VARTYPE vt, std::uint16_t flags = 0) {
    Value result(VT_I2, 77);
    const long status = VariantChangeType(&result, &source, flags, vt);
    if (status == S_OK) return shown(result);
    if (shown(result) != "I2 77") return "changed " + shown(result);
    if (status == DISP_E_OVERFLOW) return "overflow";
    if (status == DISP_E_TYPEMISMATCH) return "mismatch";
    return status == DISP_E_BADVARTYPE ? "bad type" : "failed " + std::to_string(status);
}

struct Conversion {
    Value source;
    VARTYPE to;
    char const* result;
};

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInfinity = std::numeric_limits<double>::infinity();

const Conversion kIntegers[] = {
    {Value(VT_I4, -5), VT_I8, "I8 -5"},
    {Value(VT_I4, -5), VT_I2, "I2 -5"},
    {Value(VT_I4, -5), VT_UI4, "overflow"},
    {Value(VT_I4, -5), VT_R8, "R8 -5"},
    {Value(VT_I4, 128), VT_I1, "overflow"},
    {Value(VT_I4, -128), VT_I1, "I1 -128"},
    {Value(VT_I4, 255), VT_UI1, "UI1 255"},
    {Value(VT_I4, 256), VT_UI1, "overflow"},
    {Value(VT_UI4, 0xFFFFFFFF), VT_I4, "overflow"},
    {Value(VT_UI4, 0xFFFFFFFF), VT_I8, "I8 4294967295"},
    {Value(VT_UINT, 7), VT_INT, "INT 7"},
    {Value(VT_I1, 0xFF), VT_I4, "I4 -1"},
    {Value(VT_I8, 0x80000000), VT_I4, "overflow"},
    {Value(VT_I8, -0x80000000LL), VT_I4, "I4 -2147483648"},
    {Value(VT_UI8, -1), VT_I8, "overflow"},
    {Value(VT_UI8, -1), VT_BSTR, "BSTR \"18446744073709551615\""},
    {Value(VT_I8, 2), VT_BOOL, "BOOL -1"},
    {Value(VT_I4, 0), VT_BOOL, "BOOL 0"},
};

const Conversion kReals[] = {
    {Value(2.5), VT_I4, "I4 2"},
    {Value(3.5), VT_I4, "I4 4"},
    {Value(-0.6), VT_UI4, "overflow"},
    {Value(-0.4), VT_UI4, "UI4 0"},
    {Value(2147483647.4), VT_I4, "I4 2147483647"},
    {Value(2147483647.5), VT_I4, "overflow"},
    {Value(9223372036854775807.0), VT_I8, "overflow"},
    {Value(-9223372036854775808.0), VT_I8, "I8 -9223372036854775808"},
    {Value(kNaN), VT_I4, "overflow"},
    {Value(kNaN), VT_BOOL, "overflow"},
    {Value(kInfinity), VT_I8, "overflow"},
    {Value(1e39), VT_R4, "overflow"},
    {Value(0.5), VT_R4, "R4 0.5"},
    {Value(0.25F), VT_R8, "R8 0.25"},
    {Value(0.1), VT_BOOL, "BOOL -1"},
    {Value(0.1 + 0.2), VT_BSTR, "BSTR \"0.3\""},
    {Value(0.1F), VT_BSTR, "BSTR \"0.1\""},
    {Value(1e20), VT_BSTR, "BSTR \"1E+20\""},
    {Value(-1.5), VT_BSTR, "BSTR \"-1.5\""},
    {Value(-0.0), VT_BSTR, "BSTR \"0\""},
    {Value(kNaN), VT_BSTR, "BSTR \"NaN\""},
    {Value(-kInfinity), VT_BSTR, "BSTR \"-Infinity\""},
};

const Conversion kTexts[] = {
    {Value(u"12"), VT_I4, "I4 12"},
    {Value(u" \t-12\r\n"), VT_I2, "I2 -12"},
    {Value(u"+7"), VT_I4, "I4 7"},
    {Value(u"2.5"), VT_I4, "I4 2"},
    {Value(u"1e3"), VT_I4, "I4 1000"},
    {Value(u".5"), VT_R8, "R8 0.5"},
    {Value(u"9223372036854775807"), VT_I8, "I8 9223372036854775807"},
    {Value(u"18446744073709551615"), VT_UI8, "UI8 18446744073709551615"},
    {Value(u"40000"), VT_I2, "overflow"},
    {Value(u"1e400"), VT_R8, "overflow"},
    {Value(u"1,5"), VT_R8, "mismatch"},
    {Value(u"12x"), VT_I4, "mismatch"},
    {Value(u"+-1"), VT_I4, "mismatch"},
    {Value(u"inf"), VT_R8, "mismatch"},
    {Value(u"-nan"), VT_R8, "mismatch"},
    {Value(u"0x10"), VT_I4, "mismatch"},
    {Value(u""), VT_I4, "mismatch"},
    {Value(u"1\0002"s), VT_I4, "mismatch"},
    {Value(u"\u0661"), VT_I4, "mismatch"},
    {Value(std::u16string(2000, u'1')), VT_R8, "mismatch"},
    {Value(VT_BSTR), VT_I4, "mismatch"},
    {Value(u" True "), VT_BOOL, "BOOL -1"},
    {Value(u"FALSE"), VT_BOOL, "BOOL 0"},
    {Value(u"0"), VT_BOOL, "BOOL 0"},
    {Value(u"yes"), VT_BOOL, "mismatch"},
    {Value(u"true"), VT_I4, "mismatch"},
};

const Conversion kOthers[] = {
    {Value(VT_BOOL, -1), VT_BSTR, "BSTR \"-1\""},
    {Value(VT_BOOL, 1), VT_I4, "I4 -1"},
    {Value(VT_BOOL, -1), VT_UI1, "UI1 255"},
    {Value(VT_BOOL, -1), VT_R8, "R8 -1"},
    {Value(VT_BOOL), VT_BSTR, "BSTR \"0\""},
    {Value(), VT_I4, "I4 0"},
    {Value(), VT_BSTR, "BSTR \"\""},
    {Value(), VT_BOOL, "BOOL 0"},
    {Value(), VT_NULL, "mismatch"},
    {Value(VT_NULL), VT_NULL, "NULL"},
    {Value(VT_NULL), VT_BSTR, "mismatch"},
    {Value(VT_I4, 1), VT_DISPATCH, "mismatch"},
    {Value(VT_ERROR, 1), VT_I4, "mismatch"},
    {Value(VT_DISPATCH), VT_I4, "mismatch"},
    {Value(VT_DISPATCH), VT_UNKNOWN, "UNKNOWN null"},
    {Value(VT_I4, 1), VT_DATE, "bad type"},
    {Value(VT_I4, 1), VT_CY, "bad type"},
    {Value(VT_I4, 1), VT_DECIMAL, "bad type"},
    {Value(VT_DATE), VT_BSTR, "bad type"},
    {Value(VT_CY, 10000), VT_I4, "bad type"},
    {Value(VARTYPE{VT_I4 | VT_BYREF}), VT_I4, "bad type"},
    {Value(VT_I4, 1), 99, "bad type"},
    {Value(VT_I4, 1), VT_ARRAY | VT_I4, "bad type"},
};

template <std::size_t count>
void expect_all(const Conversion (&table)[count]) {
    for (const Conversion& c : table)
        EXPECT_EQ(converted(c.source, c.to), c.result) << shown(c.source) << " to " << c.to;
}

TEST(VariantChangeType, RangesIntegers) { expect_all(kIntegers); }
TEST(VariantChangeType, RoundsAndPrintsReals) { expect_all(kReals); }
TEST(VariantChangeType, ReadsTextsThatAreOneNumber) { expect_all(kTexts); }
TEST(VariantChangeType, RefusesWhatHasNoMeaning) { expect_all(kOthers); }

TEST(VariantChangeType, NamesTruthOnRequest) {
    EXPECT_EQ(converted(Value(VT_BOOL, -1), VT_BSTR, VARIANT_ALPHABOOL), "BSTR \"True\"");
    EXPECT_EQ(converted(Value(VT_BOOL, 0), VT_BSTR, VARIANT_ALPHABOOL), "BSTR \"False\"");
}

TEST(VariantChangeType, WorksInPlaceAndFreesWhatWasThere) {
    Value value(u"41");
    EXPECT_EQ(VariantChangeType(&value, &value, 0, VT_I4), S_OK);
    EXPECT_EQ(shown(value), "I4 41");
    EXPECT_EQ(VariantChangeType(&value, &value, 0, VT_BSTR), S_OK);
    EXPECT_EQ(shown(value), "BSTR \"41\"");
    EXPECT_EQ(VariantChangeType(nullptr, &value, 0, VT_I4), E_INVALIDARG);
    EXPECT_EQ(VariantChangeType(&value, nullptr, 0, VT_I4), E_INVALIDARG);
}

TEST(VariantChangeType, AsksAnObjectForTheInterface) {
    CountedObject object;
    {
        Value value(&object);
        EXPECT_EQ(VariantChangeType(&value, &value, 0, VT_UNKNOWN), S_OK);
        EXPECT_EQ(object.references, 1U);
        EXPECT_EQ(converted(value, VT_DISPATCH), "DISPATCH");
        object.is_dispatch = false;
        EXPECT_EQ(converted(value, VT_DISPATCH), "mismatch");
    }
    EXPECT_EQ(object.references, 0U);
}

TEST(VariantCopy, DuplicatesStringsAndCountsObjects) {
    CountedObject object;
    const Value text(u"a\0b"s), reference(&object);
    {
        Value copy(text);
        EXPECT_EQ(shown(copy), "BSTR \"a0b\"");
        EXPECT_NE(copy.bstrVal, text.bstrVal);
        copy = reference;
        EXPECT_EQ(object.references, 2U);
        EXPECT_EQ(VariantCopy(&copy, &copy), S_OK);
        EXPECT_EQ(object.references, 2U);
    }
    EXPECT_EQ(object.references, 1U);
}

TEST(VariantCopy, RefusesArraysAndTypesThatAreNone) {
    Value number(VT_I4, 1);
    for (const VARTYPE vt : {VARTYPE{VT_ARRAY | VT_I4}, VARTYPE{12}, VARTYPE{14}, VARTYPE{500}}) {
        VARIANT odd{};
        odd.vt = vt;
        EXPECT_EQ(VariantCopy(&number, &odd), DISP_E_BADVARTYPE) << vt;
        EXPECT_EQ(VariantCopy(&odd, &number), DISP_E_BADVARTYPE) << vt;
        EXPECT_EQ(VariantClear(&odd), DISP_E_BADVARTYPE) << vt;
    }
    EXPECT_EQ(shown(number), "I4 1");
    EXPECT_EQ(VariantClear(nullptr), E_INVALIDARG);
    EXPECT_EQ(VariantCopy(&number, nullptr), E_INVALIDARG);
}

std::u16string described(long code, std::size_t size = 256) {
    char16_t text[256] = u"before";
    const std::size_t length = platform::describe_status(code, text, size);
    return {text, length + 1};
}

TEST(StatusText, KnowsBothFormsOfAnError) {
    EXPECT_EQ(described(E_FAIL), u"Unspecified error\0"s);
    EXPECT_EQ(described(ERROR_NOT_FOUND), described(HRESULT_FROM_WIN32(ERROR_NOT_FOUND)));
    EXPECT_EQ(described(status(0x80041234)), u"Error 0x80041234\0"s);
    EXPECT_EQ(described(E_FAIL, 5), u"Unsp\0"s);
    EXPECT_EQ(described(E_FAIL, 0), u"b");
}

}  // namespace
}  // namespace tarnwillow::test
