// A CRegistry that stands at a key of its own, and short words for what it tells.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/temporaryFolder.h"
#include "tarnwillow/files/CRegistry.h"

namespace tarnwillow::test {

class Registry : public testing::Test {
protected:
    Registry() { EXPECT_TRUE(settings.Open_Application_Key("Test", HKEY_LOCAL_MACHINE)); }

    std::string path() {
        char text[300] = "~";
        settings.Get_Current_Path(text);
        return text;
    }
    long number(char const* name) {
        long value = -12345;
        return settings.Get_Entry(name, &value) ? value : -12345;
    }
    std::string text(char const* name) {
        char value[256] = "~";
        return settings.Get_Entry(name, value) ? value : "<none>";
    }
    std::u16string wide_text(char16_t const* name) {
        char16_t value[256] = u"~";
        return settings.Get_Entry(name, value) ? value : u"<none>";
    }
    /// Names of subkeys and values, in order.
    std::string names() {
        std::string all;
        char name[CRegistry::kNameRoom];
        for (unsigned long i = 0; settings.Get_Subkey(i, name); ++i)
            all += std::string(name) + "/ ";
        for (unsigned long i = 0; settings.Get_Indexed_Value(i, name); ++i)
            all += std::string(name) + " ";
        return all;
    }
    bool make(char const* below) {
        CRegistry other;
        return other.Open_Application_Key((std::string("Test\\") + below).c_str(),
                                          HKEY_LOCAL_MACHINE);
    }

    TemporaryFolder folder;
    CRegistry settings;
};

}  // namespace tarnwillow::test
