/* A message core that keeps what it gets, for a test to look at, and that fails in the way that it
 * is built for. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdatomic.h>
#include <string.h>

#include "tarnwillow/diagnostics/messageCore.h"

#if defined(CORE_FAULTS_AT_START) || defined(CORE_FAULTS_AT_A_LINE)
static volatile int* volatile nowhere;

static void fault(void) { *nowhere = 1; }
#endif

enum { KEPT = 64 };

typedef struct {
    int64_t size, code, kind;
    char data[TARNWILLOW_RECORD_SIZE];
} kept_message;

__attribute__((visibility("default"))) kept_message kept_messages[KEPT];
__attribute__((visibility("default"))) atomic_int kept_count;

#ifndef CORE_WITHOUT_INITIALIZE
int32_t Initialize(void) {
#ifdef CORE_LOGS_AT_START
    void (*log_a_line)(void) = NULL;
    *(void**)&log_a_line = dlsym(RTLD_DEFAULT, "log_a_line");
    if (log_a_line != NULL) log_a_line();
#endif
#ifdef CORE_FAULTS_AT_START
    fault();
#endif
#ifdef CORE_REFUSES
    return 5;
#else
    return 0;
#endif
}
#endif

#ifndef CORE_WITHOUT_QUEUE_ENTRY
void Queue_Entry(void const* data, int64_t size, int64_t code, int64_t kind) {
#ifdef CORE_FAULTS_AT_A_LINE
    fault();
#endif
    const int place = atomic_fetch_add(&kept_count, 1);
    if (place >= KEPT) return;
    kept_message* kept = &kept_messages[place];
    kept->size = size;
    kept->code = code;
    kept->kind = kind;
    if (size > 0 && size <= TARNWILLOW_RECORD_SIZE) memcpy(kept->data, data, (size_t)size);
}
#endif

#ifdef CORE_REGISTERS_ITSELF
/* The suite stores the path. */
__attribute__((visibility("default"))) int32_t DllRegisterServer(void) {
    void (*register_core)(char const* path) = NULL;
    *(void**)&register_core = dlsym(RTLD_DEFAULT, "register_core");
    Dl_info about;
    if (register_core == NULL || dladdr(kept_messages, &about) == 0) return -1;
    register_core(about.dli_fname);
    return 0;
}
#endif

#ifndef CORE_WITHOUT_LISTENERS
/* Calls the listener once, with what came, and gives the selector back. */
int32_t Get_Messages(int64_t selector, tarnwillow_listener listener, void* context, uint8_t flag,
                     void** handle) {
    char text[] = "hello";
    *handle = context;
    listener(UINT32_MAX, -flag, text, 5, selector, context);
    return (int32_t)selector;
}

void Stop_Messages(void* handle) { ++*(int*)handle; }
#endif
