// A script engine that hosts this library's automation objects: scripts read, write and call native
// objects, and native code reads and calls what scripts hand it. Two engines implement it.
//
// What a script sees of a native object: every property by its name, and every method as a
// function. A read that an object answers with "there is a method here" gives a function; any other
// failure is an Error with `message`, `source` and `number`. The names toString and valueOf stay
// the engine's own. Integers beyond 53 bits lose their low digits, as all numbers of a script.
//
// What native code sees of a script's object is an IDispatch; its members are found by name, with
// case. It outlives the engine, and then gives E_UNEXPECTED. An engine and everything of it belongs
// to one thread at a time.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow::script {

class ScriptEngine {
public:
    virtual ~ScriptEngine() = default;

    /// Makes a native object, which gets a reference, a global of the scripts.
    virtual bool define(char const* name, IDispatch* object) = 0;

    /// Runs a script to its end. False if it could not be read or ended in an error, which
    /// `failure` then tells in one line, as "FILE:LINE: Error: why" where the engine knows the
    /// place. What it defined stays.
    virtual bool run(std::string_view source, char const* file, std::string* failure) = 0;

    /// Frees what scripts no longer reach, and releases the native objects among it.
    virtual void collect_garbage() = 0;
};

/// "duktape" or "mujs"; null for another name and without memory.
std::unique_ptr<ScriptEngine> make_engine(std::string_view name);

std::unique_ptr<ScriptEngine> make_duktape_engine();
std::unique_ptr<ScriptEngine> make_mujs_engine();

/// References of any engine on native objects, and native holds on script objects, that are not
/// yet given back.
long live_references();

}  // namespace tarnwillow::script
