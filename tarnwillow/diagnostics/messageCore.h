/* For authors of a message core: the dynamic library that takes a process's log lines, its
 * broadcasts and its listeners. Plain C; a core links nothing of this library.
 *
 * A core is loaded by the first line that passes its class test, from the path in the setting
 * "Log". It exports the entries below under exactly these names. Any thread may call any of them,
 * several at once; no lock of the library is held meanwhile. docs/message-core.md tells the rest,
 * and examples/message_core/ is a whole one. */
#ifndef TARNWILLOW_MESSAGE_CORE_H
#define TARNWILLOW_MESSAGE_CORE_H

#include "tarnwillow/diagnostics/messageRecord.h"

#ifdef __cplusplus
#define TARNWILLOW_CORE_ENTRY extern "C" __attribute__((visibility("default")))
#else
#define TARNWILLOW_CORE_ENTRY __attribute__((visibility("default")))
#endif

/* The first two a core must have. Integers arrive sign-extended to 64 bits. */

/* Gets the core ready. 0 for success; any other value makes the library unload the core, and try
 * again with the next line. Other threads may call Queue_Entry before this has returned. Lines that
 * this thread writes meanwhile are dropped. */
TARNWILLOW_CORE_ENTRY int32_t Initialize(void);

/* Takes one message. `data` is good only until this returns. No result is looked at; a fault in
 * here is caught and costs the line. */
TARNWILLOW_CORE_ENTRY void Queue_Entry(void const* data, int64_t size, int64_t code, int64_t kind);

/* Attaches a listener, with what the program passed for it. The result goes to the program, which
 * takes 0 for success and is told -1 where a core has no such entry. `handle` names the listener.
 */
TARNWILLOW_CORE_ENTRY int32_t Get_Messages(int64_t selector, tarnwillow_listener listener,
                                           void* context, uint8_t flag, void** handle);

/* Detaches the listener of that handle. */
TARNWILLOW_CORE_ENTRY void Stop_Messages(void* handle);

#endif
