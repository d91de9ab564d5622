#include <tarnwillow/crossprocess/CIPCSharedTable.h>

#include <cstdio>

using namespace tarnwillow;

int main() {
    CIPCSharedTable table;
    if (table.Initialize("my-product") != 0) return 1;
    table.Set_Atom_Data(1, 42, "busy", 5, true);  // type 1, id 42; made if it is not there
    char text[512];
    if (table.Get_Atom_Data(1, 42, text, sizeof text)) std::puts(text);
}
