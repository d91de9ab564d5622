#include <tarnwillow/network/adapterAddress.h>
#include <tarnwillow/text/CAutoAnsiString.h>

#include <cstdio>

using namespace tarnwillow;

int main() {
    std::printf("adapter %s\n", static_cast<char const*>(CAutoAnsiString(Get_Mac_Address())));
}
