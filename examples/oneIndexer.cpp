// A program without windows that runs once.
#include <tarnwillow/crossprocess/instanceControl.h>
#include <tarnwillow/platform/windows.h>

#include <cstdio>

using namespace tarnwillow;

int main() {
    const HWND window = New_Headless_Window("Indexer");
    if (!First_Instance("indexer", "", window)) return 0;  // the other one is in front now
    std::puts("first");
}
