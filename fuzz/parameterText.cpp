// Any text as the arguments of a call, of either width. What comes out is at most twenty arguments
// of the types that a text can have, and its texts together are no longer than it.
#include <cstdlib>

#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/CDispatchMaster.h"
#include "terminatedText.h"

namespace {

using namespace tarnwillow;

class Parser : public CDispatchMaster {
public:
    Parser() : CDispatchMaster(nullptr) {}
    using CDispatchMaster::Parse_Parameter_String;
};

void require(bool holds) {
    if (!holds) std::abort();
}

/// Units of the argument's text; 0 for another type.
std::size_t text_length(const VARIANT& argument) {
    if (argument.vt == VT_BSTR) return SysStringLen(argument.bstrVal);
    require(argument.vt == VT_I4 || argument.vt == VT_BOOL || argument.vt == VT_NULL);
    return 0;
}

template <class Char>
void parse(Char const* text) {
    Parser parser;
    CDispParamsMaster params;
    require(parser.Parse_Parameter_String(&params, text) == 0);
    DISPPARAMS const* const call = params.Get_Param_Array();
    require(call != nullptr && call->cArgs >= 1 && call->cArgs <= 20);
    std::size_t units = 0;
    for (std::uint32_t i = 0; i < call->cArgs; ++i)
        units += text_length(call->rgvarg[i]);
    require(units <= fuzz::length(text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    parse(fuzz::terminated<char>(bytes, size).get());
    parse(fuzz::terminated<char16_t>(bytes, size).get());
    return 0;
}
