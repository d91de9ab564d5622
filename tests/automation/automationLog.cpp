// The lines that calls through automation leave in the log.
#include <gtest/gtest.h>

#include <string_view>

#include "scriptObject.h"
#include "support/logCollector.h"
#include "support/reports.h"
#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/automation/IResultDispatchInterface.h"
#include "tarnwillow/platform/clock.h"

namespace tarnwillow::test {
namespace {

/// The text with "#" for each run of those digits that stands behind `mark`.
std::string masked(std::string text, std::string_view mark, char const* digits) {
    for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos;) {
        at += mark.size();
        const std::size_t end = text.find_first_not_of(digits, at);
        text.replace(at, end == std::string::npos ? end : end - at, "#");
    }
    return text;
}

/// The lines of a class, with addresses and thread numbers as "#".
std::string lines(const LogCollector& log, int log_class) {
    std::string all;
    for (const LoggedLine& line : log.lines())
        if (line.log_class == log_class)
            all += std::string(line.text.begin(), line.text.end()) + "\n";
    for (char const* mark :
         {"Object: ", "bject ID: 0x", "CResultDispatch 0x", "Memory: 0x", "Thread ID: "})
        all = masked(all, mark, "0123456789abcdefABCDEF");
    return all;
}

constexpr int kCalls = 9;
constexpr int kResults = 10;
constexpr int kMaster = 11;

TEST(AutomationLog, TellsWhatADispatchMasterDoes) {
    Held object(new ScriptObject);
    object->set(u"n", Value(VT_I4, -4));
    object->set_method(u"Foo", [](DISPPARAMS*, VARIANT* result) {
        VARIANT text = Value(VT_BOOL, -1);
        *result = text;
        return S_OK;
    });
    object->set_method(u"Fault", [](DISPPARAMS*, VARIANT*) -> long {
        fault();
        return S_OK;
    });
    LogCollector log;
    CDispatchMaster master(object);
    long number = 0;
    bool truth = true;
    Value result;
    master.Get_Property(u"n", &number);
    master.Get_Property(u"gone", &number);
    master.Get_Property(u"gone", &truth);
    master.Set_Property(u"gone", 1);
    master.Invoke_Method(u"Foo(1, 'a')", nullptr, &result);
    master.Invoke_Method(u"Gone", nullptr, nullptr);
    master.Invoke_Method(u"Fault", nullptr, nullptr);
    CDispatchMaster(nullptr).Get_Property(u"n", &number);
    EXPECT_EQ(lines(log, kMaster),
              "**DispatchMaster Get_Property: n = -4 Code: 0\n"
              "**DispatchMaster Get_Property_Variant: gone Property Does Not Exist! "
              "Result: 0x80020006 Default Value: [Empty]\n"
              "**DispatchMaster Get_Property: gone Property Does Not Exist! "
              "Result: 0x80020006 Default Value: true\n"
              "**DispatchMaster Set_Property: gone Property Does Not Exist! "
              "Result: 0x80020006 Code: 80020006\n"
              "**DispatchMaster Invoke \"Foo(1,\"a\")\"\n"
              "**DispatchMaster Invoke Result: \"Foo\" = true Code: 0\n"
              "**DispatchMaster Invoke_Method: \"Gone\" Method Does Not Exist! "
              "Result: 0x80020006\n"
              "**DispatchMaster Invoke \"Fault()\"\n"
              "Invoke Dispatch Method raised an excepetion Fault Exception Code: b Thread ID: #\n");
}

TEST(AutomationLog, StaysSilentForAMasterMadeWhileTheClassWasOff) {
    Held object(new ScriptObject);
    object->set(u"n", Value(VT_I4, -4));
    CDispatchMaster master(object);
    LogCollector log;
    long number = 0;
    master.Get_Property(u"n", &number);
    EXPECT_EQ(lines(log, kMaster), "");
}

TEST(AutomationLog, TellsWhatHappensToAResultObject) {
    LogCollector log;
    IResultDispatchInterface* const object = CreateResultDispatch();
    void* script = nullptr;
    object->QueryInterface(IID_IDispatch, &script);
    object->Set_Property(u"Text", u"a");
    object->Set_Property(u"big", 1L << 40);
    {
        CDispatchMaster master(static_cast<IDispatch*>(script));
        char16_t text[8];
        master.Get_Property(u"text", text, 7);
        unsigned short type = 0;
        master.Get_Property_Type(u"big", &type);
        master.Set_Property(u"text", 5);
        master.Invoke_Method(u"memberName(0)", nullptr, nullptr);
    }
    static_cast<IDispatch*>(script)->Release();
    object->Release();
    EXPECT_EQ(lines(log, kResults),
              "New Script Result Dispatch Created Object: #\n"
              "New Script Result Dispatch Initialized Object: #\n"
              "**ResultObject ID: 0x# Set_Property: Text = \"a\" Code: 0\n"
              "**ResultObject ID: 0x# Set_Property: big = 0 Code: 0\n"
              "Script Result Dispatch: GetIDsOfNames Object: #\n"
              "Script Result Dispatch: Looking for text ID: 4096 Object: #\n"
              "Script Result Dispatch: GET/PUT Invoke ID: 1000 Type PROP_GET Flags: 2 Object: #\n"
              "Script Result Dispatch: PROP_GET  Property Name: Text Object: #\n"
              "**CResultDispatch::Invoke Adding BSTR to debug array... Memory: 0x#\n"
              "Script Result Dispatch: GetIDsOfNames Object: #\n"
              "Script Result Dispatch: Looking for big ID: 4097 Object: #\n"
              "Script Result Dispatch: GET/PUT Invoke ID: 1001 Type PROP_GET Flags: 2 Object: #\n"
              "Script Result Dispatch: PROP_GET  Property Name: big Object: #\n"
              "**ResultObject ID: 0x# Get_Propery: big = 1099511627776\n"
              "Script Result Dispatch: GetIDsOfNames Object: #\n"
              "Script Result Dispatch: Looking for text ID: 4096 Object: #\n"
              "Script Result Dispatch: GET/PUT Invoke ID: 1000 Type PROP_PUT Flags: 4 Object: #\n"
              "Script Result Dispatch: GetIDsOfNames Object: #\n"
              "Script Result Dispatch: Looking for memberName ID: 3 Object: #\n"
              "Script Result Dispatch: Method Invoke ID: 3 Flags: 1 Object: #\n");
}

long sleep_long(DISPPARAMS*, VARIANT*, EXCEPINFO*, unsigned*, IResultDispatchInterface*, long,
                long) {
    Sleep(1050);
    return E_FAIL;
}

TEST(AutomationLog, NamesSlowCalls) {
    LogCollector log;
    IResultDispatchInterface* const object = CreateResultDispatch();
    void* methods = nullptr;
    object->QueryInterface(IID_IResultDispatchInterface2, &methods);
    static_cast<IResultDispatchInterface2*>(methods)->Set_Method(u"Slow", sleep_long, 0, 0);
    static_cast<IResultDispatchInterface2*>(methods)->Release();
    {
        VARIANT self;
        object->Get_Dispatch_Variant(&self);
        CDispatchMaster master(self.pdispVal);
        master.Invoke_Method(u"Slow(1)", nullptr, nullptr);
        VariantClear(&self);
    }
    object->Release();
    const auto rounded = [](const std::string& text) {
        return masked(text, "took 1.", "0123456789");
    };
    EXPECT_EQ(rounded(lines(log, kMaster)),
              "**DispatchMaster Invoke \"Slow(1)\"\n"
              "SLOW! Function Call: \"Slow\" took 1.#s\n");
    EXPECT_EQ(rounded(lines(log, kCalls)),
              "**CResultDispatch 0x# ResultDispatch Call: \"Slow(1)\"\n"
              "SLOW! ResultDispatch Call: \"Slow\" took 1.#s\n"
              "**Function Failed: \"Slow\" Code: 0x80004005\n");
}

}  // namespace
}  // namespace tarnwillow::test
