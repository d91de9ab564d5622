// What the dishes of a menu cost.
#include <tarnwillow/text/CAutoAnsiString.h>
#include <tarnwillow/xml/CXMLParser.h>

#include <cstdio>

using namespace tarnwillow;

int main() {
    constexpr char16_t kMenu[] =
        u"<?xml version='1.0'?>"
        u"<menu><dish price='4'>soup</dish><dish price='9'>fish</dish></menu>";
    CXMLParser menu;
    if (menu.Initialize(kMenu, sizeof kMenu / sizeof *kMenu - 1) != 0) return 1;
    menu.Move_To_Child(u"menu");
    for (long found = menu.Move_To_Child(u"dish"); found == 0;
         found = menu.Move_To_Sibling(nullptr)) {
        char16_t name[256], price[512];
        menu.Get_Current_Node_Data_String(name, 256, true);
        menu.Get_Current_Node_Attribute(u"price", price, nullptr);
        std::printf("%s: %s\n", static_cast<char const*>(CAutoAnsiString(name)),
                    static_cast<char const*>(CAutoAnsiString(price)));
    }
}
