// The objects of the library that a script of the program finds.
#pragma once

#include "tarnwillow/automation/IResultDispatchInterface.h"

namespace tarnwillow::cli {

/// Each is a new object with one reference for the caller; null without memory.

/// print(value, ...): one line on standard output.
IResultDispatchInterface* make_output_object();

/// write(class, text): one line in the log. enabled(class): whether the class is on.
IResultDispatchInterface* make_log_object();

/// user and machine, each with read(subkey, name, fallback), write(subkey, name, value) and
/// remove(subkey, name) below the application key. Values are numbers and texts.
IResultDispatchInterface* make_settings_object();

/// load(file): a document, for which see scriptXml.h.
IResultDispatchInterface* make_xml_object();

// For the methods of such objects.

/// Sets a method; its first user value is `user`.
void add_method(IResultDispatchInterface* object, char16_t const* name, ResultMethodProc procedure,
                long user = 0);

/// Stores a text as a method's result. E_OUTOFMEMORY without memory.
long give_text(VARIANT* result, char16_t const* text);
long give_bool(VARIANT* result, bool value);

}  // namespace tarnwillow::cli
