#include "scriptCommand.h"

#include <cstdio>
#include <string>

#include "ScriptEngine.h"
#include "command.h"
#include "scriptObjects.h"

namespace tarnwillow::cli {

namespace {

int failed(char const* file, char const* reason) {
    std::fprintf(stderr, "tarnwillow: %s: %s\n", file, reason);
    return 1;
}

/// A failure with its place begins with the file's name already.
int script_failed(char const* file, const std::string& failure) {
    if (!failure.starts_with(std::string(file) + ":")) return failed(file, failure.c_str());
    std::fprintf(stderr, "tarnwillow: %s\n", failure.c_str());
    return 1;
}

bool read_file(char const* file, std::string* content) {
    std::FILE* const stream = std::fopen(file, "rb");
    if (stream == nullptr) return false;
    char piece[4096];
    for (std::size_t count; (count = std::fread(piece, 1, sizeof(piece), stream)) != 0;)
        content->append(piece, count);
    const bool read = std::ferror(stream) == 0;
    std::fclose(stream);
    return read;
}

/// Gives the object to the engine, which keeps it.
bool define(script::ScriptEngine& engine, char const* name, IResultDispatchInterface* object) {
    if (object == nullptr) return false;
    VARIANT face;
    object->Get_Dispatch_Variant(&face);
    const bool defined = engine.define(name, face.pdispVal);
    VariantClear(&face);
    object->Release();
    return defined;
}

bool define_objects(script::ScriptEngine& engine) {
    return define(engine, "out", make_output_object()) &&
           define(engine, "log", make_log_object()) &&
           define(engine, "settings", make_settings_object()) &&
           define(engine, "xml", make_xml_object());
}

int run_script(char const* file, script::ScriptEngine& engine) {
    std::string source;
    if (!read_file(file, &source)) return failed(file, "the file could not be read");
    if (!define_objects(engine)) return failed(file, "out of memory");
    if (source.starts_with("#!")) source.replace(0, 2, "//");  // as a program of its own
    std::string failure;
    return engine.run(source, file, &failure) ? 0 : script_failed(file, failure);
}

}  // namespace

int script_command(int argc, char** argv) {
    if (argc != 1 && argc != 2) return kWrongUse;
    const auto engine = script::make_engine(argc == 2 ? argv[1] : "duktape");
    return engine != nullptr ? run_script(argv[0], *engine) : kWrongUse;
}

}  // namespace tarnwillow::cli
