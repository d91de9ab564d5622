#include "ScriptEngine.h"

namespace tarnwillow::script {

std::unique_ptr<ScriptEngine> make_engine(std::string_view name) {
    if (name == "duktape") return make_duktape_engine();
    return name == "mujs" ? make_mujs_engine() : nullptr;
}

}  // namespace tarnwillow::script
