#include <gtest/gtest.h>

#include "scriptObject.h"
#include "tarnwillow/automation/CDispArrayMaster.h"
#include "tarnwillow/automation/scriptMappings.h"

namespace tarnwillow::test {
namespace {

TEST(DispArray, LoadsAnArrayAndLeavesItAsItWas) {
    CountedObject child;
    {
        Held array(
            new ScriptArray({Value(VT_I4, 1), Value(u"two"), Value(VT_BOOL, -1), Value(&child)}));
        const std::string before = array->show();
        CDispArrayMaster loaded(array);
        EXPECT_EQ(loaded.Get_Length(), 4);
        EXPECT_EQ(loaded.Load_Array(), S_OK);
        EXPECT_EQ(array->show(), before);
        EXPECT_EQ(shown(*loaded[0]) + shown(*loaded[1]) + shown(*loaded[2]) + shown(*loaded[3]),
                  "I4 1BSTR \"two\"BOOL -1DISPATCH");
        EXPECT_EQ(child.references, 2U);
        EXPECT_EQ(loaded.Get_Length(), 4);
        EXPECT_EQ(loaded[4], nullptr);
        EXPECT_EQ(loaded[-1], nullptr);
        EXPECT_EQ(loaded.Load_Array(), E_UNEXPECTED);
    }
    EXPECT_EQ(child.references, 0U);
}

TEST(DispArray, EndsAtAnElementOfAnotherType) {
    Held array(new ScriptArray({Value(VT_I4, 1), Value(2.5), Value(VT_I4, 3)}));
    CDispArrayMaster loaded(array);
    EXPECT_EQ(loaded.Load_Array(), E_INVALIDARG);
    EXPECT_EQ(array->show(), "I4 3, I4 1");
    EXPECT_EQ(loaded.Get_Length(), 1);
    EXPECT_EQ(shown(*loaded[0]), "I4 1");
}

TEST(DispArray, OfNoElementsMayBeLoadedAgain) {
    Held array(new ScriptArray({}));
    CDispArrayMaster loaded(array);
    EXPECT_EQ(loaded.Load_Array(), S_OK);
    array->elements.push_back(Value(u"a"));
    array->set(u"length", Value(VT_I4, 1));
    EXPECT_EQ(loaded.Get_Length(), 1);
    EXPECT_EQ(loaded.Load_Array(), S_OK);
    EXPECT_EQ(shown(*loaded[0]), "BSTR \"a\"");
}

TEST(DispArray, NeedsALengthThatMakesSense) {
    Held object(new ScriptObject);
    EXPECT_EQ(CDispArrayMaster(object).Load_Array(), E_INVALIDARG);
    EXPECT_EQ(CDispArrayMaster(object).Get_Length(), 0);
    EXPECT_EQ(CDispArrayMaster(nullptr).Load_Array(), E_INVALIDARG);
    object->set(u"length", Value(VT_I4, -3));
    EXPECT_EQ(CDispArrayMaster(object).Load_Array(), S_OK);
    object->set(u"length", Value(VT_I4, 0x7FFFFFFF));
    EXPECT_EQ(CDispArrayMaster(object).Load_Array(), E_INVALIDARG);
}

constexpr GUID kPlayer{0x882F41E2, 0x802A, 0x4231, {0x90, 0xA6, 0xF8, 0xBF, 0x23, 0x8A, 0xD3, 1}};
constexpr GUID kList{0x882F41E2, 0x802A, 0x4231, {0x90, 0xA6, 0xF8, 0xBF, 0x23, 0x8A, 0xD3, 2}};
const InterfaceNameIDMapping kInterfaces[] = {
    {"Player", &kPlayer}, {"List", &kList}, {nullptr, nullptr}};

TEST(ScriptInterfaceId, IsFoundByNameOrIdentifier) {
    GUID found{};
    EXPECT_EQ(Get_Script_Interface_ID("List", kInterfaces, &found), S_OK);
    EXPECT_EQ(found, kList);
    for (char const* text :
         {"882f41e2-802a-4231-90a6-f8bf238ad301", "882F41E2-802A-4231-90A6-F8BF238AD301"}) {
        EXPECT_EQ(Get_Script_Interface_ID(text, kInterfaces, &found), S_OK);
        EXPECT_EQ(found, kPlayer);
    }
    for (char const* text : {"list", "", "882f41e2-802a-4231-90a6-f8bf238ad303",
                             "{882f41e2-802a-4231-90a6-f8bf238ad301}"})
        EXPECT_EQ(Get_Script_Interface_ID(text, kInterfaces, &found), E_NOINTERFACE) << text;
    EXPECT_EQ(found, kPlayer);
}

TEST(ScriptResultText, NamesTheStatus) {
    const auto text = [](long status) {
        Value out;
        Set_Script_Result_Text(status, &out);
        return shown(out);
    };
    EXPECT_EQ(text(S_OK), "BSTR \"OK:\"");
    EXPECT_EQ(text(ERROR_FILE_NOT_FOUND), "BSTR \"ERR:RESULT=FILE_NOT_FOUND\"");
    EXPECT_EQ(text(E_OUTOFMEMORY), "BSTR \"ERR:RESULT=OUT_OF_MEMORY\"");
    EXPECT_EQ(text(E_INVALIDARG), "BSTR \"ERR:RESULT=INVALID_ARGUMENT_OR_OBJECT\"");
    EXPECT_EQ(text(E_FAIL), "BSTR \"ERR:RESULT=UNKNOWN_ERROR|HRESULT=80004005\"");
    EXPECT_EQ(text(ERROR_NOT_FOUND), "BSTR \"ERR:RESULT=UNKNOWN_ERROR|HRESULT=490\"");
}

}  // namespace
}  // namespace tarnwillow::test
