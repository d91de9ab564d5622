#include <tarnwillow/files/CRegistry.h>

#include <cstdio>

using namespace tarnwillow;

int main() {
    CRegistry settings;
    long level = 0;  // stays if there is no such setting
    if (settings.Open_Application_Key("Demo", HKEY_CURRENT_USER)) {
        settings.Get_Entry("Level", &level);
        settings.Set_Entry("Level", level + 1);
    }
    std::printf("level %ld\n", level);
}
