// Which programs run already, by one table of the machine with a record for each instance: an
// application's name, a qualifier, the handle and the title of its window.
//
// A record stands for a living instance as long as its window exists under its recorded title; the
// window of a process that died does not. So a program tells by Update_Instance when its title has
// changed. Names are cut at 255 bytes, before they are compared; null is the empty one. Every call
// holds one mutex of the machine, and may wait up to three seconds for each record's program to be
// ready. Any thread.
//
// A process is attached to the table while it has the library loaded. If that failed, the next call
// tries again.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// True: this is the first instance of that application and qualifier, and is registered now with
/// its window. False: another one lives; its window has been restored if it was minimised, and it,
/// or the popup of it that was active last, brought to the front if that is visible. False, too,
/// without the mutex. A table with 49 records takes no further one: the caller is told that it is
/// the first, and a later start will be told so too. A null window is never found alive.
TARNWILLOW_API bool First_Instance(char const* application, char const* qualifier, HWND window);

/// Whether an instance lives. A null qualifier stands for any. The call that has to attach first
/// says no without looking.
TARNWILLOW_API bool Instance_Available(char const* application, char const* qualifier);

/// Records the window's title anew. The application's name is not looked at.
TARNWILLOW_API void Update_Instance(char const* application, HWND window);

/// Gets a record's texts and window, and whether the instance lives; false ends the listing. It
/// runs without the mutex.
using InstanceCallback = bool (*)(char const* application, char const* qualifier, char const* title,
                                  HWND window, bool alive, void* context);

/// Tells of every record in order of registration, without changing any. How many there were; -1
/// without the table or its mutex.
TARNWILLOW_API int List_Instances(InstanceCallback callback, void* context);

}  // namespace tarnwillow
