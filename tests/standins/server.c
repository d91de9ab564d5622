/* A server that registers itself, or one that cannot. */
#include <stdint.h>

#ifndef SERVER_WITHOUT_ENTRIES
static volatile int* volatile nowhere;

static void fault(void) { *nowhere = 1; }

__attribute__((visibility("default"))) int32_t DllRegisterServer(void) { return -7; }

__attribute__((visibility("default"))) int32_t DllUnregisterServer(void) {
    fault();
    return 0;
}
#endif

__attribute__((visibility("default"))) int server_is_loaded;
