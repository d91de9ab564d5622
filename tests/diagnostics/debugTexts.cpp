#include "tarnwillow/diagnostics/debugTexts.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/guardPage.h"
#include "support/reports.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {
namespace {

using test::GuardPage;

VARIANT value(VARTYPE type, long long number = 0) {
    VARIANT variant{};
    variant.vt = type;
    variant.llVal = number;
    return variant;
}

/// A string value; `null` for a string that is none.
class Text {
public:
    explicit Text(const std::u16string& text, bool null = false) : variant(value(VT_BSTR)) {
        variant.bstrVal = null ? nullptr : SysAllocString(text.c_str());
    }
    ~Text() { VariantClear(&variant); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    VARIANT variant;
};

/// The text, written where one character more than a caller's room would fault.
std::u16string text_of(VARIANT variant, long expected = S_OK) {
    const GuardPage page(kDebugTextRoom * sizeof(char16_t));
    EXPECT_EQ(GetDebugVariantString(&variant, page.as<char16_t>()), expected);
    return page.as<char16_t>();
}

std::u16string list(std::vector<VARIANT> values, int max, const std::u16string& before = u"") {
    const GuardPage page((static_cast<std::size_t>(max) + values.size() + 1) * sizeof(char16_t));
    std::memcpy(page.begin(), before.c_str(), (before.size() + 1) * sizeof(char16_t));
    DISPPARAMS params{values.data(), nullptr, static_cast<std::uint32_t>(values.size()), 0};
    GetDebugParametersString(&params, page.as<char16_t>(), max);
    return page.as<char16_t>();
}

}  // namespace

TEST(DebugText, ShowsEveryKindOfValue) {
    EXPECT_EQ(text_of(value(VT_DISPATCH)), u"[Object]");
    EXPECT_EQ(text_of(value(VT_UNKNOWN)), u"[Unknown]");
    EXPECT_EQ(text_of(value(VT_NULL)), u"[Null]");
    EXPECT_EQ(text_of(value(VT_EMPTY)), u"[Empty]");
    EXPECT_EQ(text_of(value(VT_BOOL, 1)), u"true");
    EXPECT_EQ(text_of(value(VT_BOOL, 0)), u"false");
    EXPECT_EQ(text_of(value(VT_I4, -5)), u"-5");
    EXPECT_EQ(text_of(Text(u"a%b\u20AC").variant), u"\"a<<PC>>b\u20AC\"");
    EXPECT_EQ(text_of(Text(u"", true).variant), u"\"\"");
    EXPECT_EQ(text_of(Text(std::u16string(300, u'x')).variant),
              u"\"" + std::u16string(255, u'x') + u"\"");
}

TEST(DebugText, TellsTheTypeOfAValueWithoutText) {
    EXPECT_EQ(text_of(value(VT_ERROR), DISP_E_TYPEMISMATCH), u"{10}");
    EXPECT_EQ(text_of(value(99), DISP_E_BADVARTYPE), u"{99}");
    char16_t out[2] = u"x";
    EXPECT_EQ(GetDebugVariantString(nullptr, out), E_INVALIDARG);
    EXPECT_EQ(out[0], u'x');
    VARIANT empty = value(VT_EMPTY);
    EXPECT_EQ(GetDebugVariantString(&empty, nullptr), E_INVALIDARG);
}

TEST(DebugText, OfManyPercentSignsStaysWithinItsRoom) {
    for (const std::size_t count : {150U, 169U, 170U, 171U, 252U, 255U}) {
        for (const std::size_t plain : {0U, 1U, 2U, 3U, 4U, 5U}) {
            const std::u16string given =
                std::u16string(plain, u'x') + std::u16string(count - plain, u'%');
            const std::u16string text = text_of(Text(given).variant);
            EXPECT_EQ(text.find(u'%'), text.npos);
            EXPECT_EQ(text.back(), u'"');
        }
    }
}

TEST(DebugText, ReportsAFaultAsAStatus) {
    const test::ReportCollector reports;
    char16_t out[kDebugTextRoom];
    const GuardPage page(8);
    EXPECT_EQ(GetDebugVariantString(reinterpret_cast<VARIANT*>(page.end()), out),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(std::u16string(out), u"{0}");
    EXPECT_EQ(text_of(value(VT_BSTR, reinterpret_cast<long long>(page.end())), DISP_E_TYPEMISMATCH),
              u"{8}");
    EXPECT_EQ(reports.names(), u"GetDebugVariantString,GetDebugVariantString");
}

TEST(DebugParameters, StandInTheOrderOfTheCall) {
    const Text text(u"b");
    EXPECT_EQ(list({value(VT_I4, 3), text.variant, value(VT_NULL)}, 800), u"[Null],\"b\",3");
    EXPECT_EQ(list({value(VT_I4, 3)}, 800, u"("), u"(3");
    EXPECT_EQ(list({}, 800, u"as it was"), u"as it was");
}

TEST(DebugParameters, LeaveOutWhatDoesNotFit) {
    const VARIANT wide_one = value(VT_I4, 123456789);
    EXPECT_EQ(list({value(VT_I4, 2), wide_one, value(VT_I4, 1)}, 9), u"1,,2");
    EXPECT_EQ(list({wide_one}, 9), u"");
    EXPECT_EQ(list({wide_one}, 10), u"123456789");
    EXPECT_EQ(list(std::vector<VARIANT>(5, value(VT_EMPTY)), 0), u",,,,");
}

TEST(DebugParameters, EndAtAFault) {
    const GuardPage page(2 * sizeof(VARIANT));
    page.as<VARIANT>()[0] = value(VT_I4, 1);
    page.as<VARIANT>()[1] = value(VT_I4, 2);
    char16_t out[64] = u"x";
    DISPPARAMS params{page.as<VARIANT>(), nullptr, 0xFFFFFFFF, 0};
    GetDebugParametersString(&params, out, 50);
    EXPECT_EQ(std::u16string(out), u"x");
    params.rgvarg = nullptr;
    GetDebugParametersString(&params, out, 50);
    GetDebugParametersString(nullptr, out, 50);
    GetDebugParametersString(&params, nullptr, 50);
    EXPECT_EQ(std::u16string(out), u"x");
}

}  // namespace tarnwillow
