// Any list of arguments against any list of wanted types. Each argument takes four bytes: its type,
// the wanted type, a value, and how many bytes of text follow.
#include <cstdlib>
#include <vector>

#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/platform/dispatch.h"
#include "tarnwillow/platform/status.h"

namespace {

using namespace tarnwillow;

void require(bool holds) {
    if (!holds) std::abort();
}

class Input {
public:
    Input(const std::uint8_t* bytes, std::size_t size) : at_(bytes), end_(bytes + size) {}

    bool is_empty() const { return at_ == end_; }
    std::uint8_t next() { return is_empty() ? 0 : *at_++; }

private:
    const std::uint8_t* at_;
    const std::uint8_t* end_;
};

constexpr VARTYPE kTypes[] = {VT_EMPTY,    VT_NULL,  VT_I2,   VT_I4,      VT_R4,  VT_R8,  VT_BSTR,
                              VT_DISPATCH, VT_ERROR, VT_BOOL, VT_UNKNOWN, VT_I1,  VT_UI1, VT_UI2,
                              VT_UI4,      VT_I8,    VT_UI8,  VT_INT,     VT_UINT};

BSTR read_text(Input& input, std::uint32_t length) {
    const BSTR text = SysAllocStringLen(nullptr, length);
    for (std::uint32_t i = 0; i < length; ++i)
        text[i] = static_cast<char16_t>(input.next() | (i % 16 == 15 ? input.next() << 8 : 0));
    return text;
}

VARIANT read_argument(Input& input) {
    VARIANT argument{};
    argument.vt = kTypes[input.next() % std::size(kTypes)];
    const std::uint8_t value = input.next();
    const std::uint8_t length = input.next();
    if (argument.vt == VT_BSTR)
        argument.bstrVal = value == 255 ? nullptr : read_text(input, length);
    else if (argument.vt != VT_DISPATCH && argument.vt != VT_UNKNOWN)
        for (int i = 0; i < 8; ++i)
            argument.ullVal = argument.ullVal << 8 | input.next();
    return argument;
}

struct Arguments {
    explicit Arguments(Input& input) {
        while (!input.is_empty() && values.size() < 24) {
            wanted.push_back(input.next() % 34);
            values.push_back(read_argument(input));
        }
    }
    ~Arguments() {
        for (VARIANT& value : values)
            VariantClear(&value);
    }
    std::vector<VARIANT> values;
    std::vector<int> wanted;  // in the order of the script, which makes no difference here
};

void check(const Arguments& arguments, const std::vector<unsigned>& results, long status) {
    long first = S_OK;
    for (std::size_t i = 0; i < results.size(); ++i) {
        const long result = static_cast<std::int32_t>(results[i]);
        if (first == S_OK) first = result;
        const VARIANT& value = arguments.values[arguments.values.size() - 1 - i];
        const int wanted = arguments.wanted[i];
        const bool stays =
            wanted == VT_USERDEFINED || (wanted == VT_DISPATCH && value.vt == VT_NULL);
        if (result == S_OK && !stays) require(value.vt == wanted);
    }
    require(first == status);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Input input(bytes, size);
    const int flags = input.next();
    Arguments arguments(input);
    DISPPARAMS params{arguments.values.data(), nullptr,
                      static_cast<std::uint32_t>(arguments.values.size()), 0};
    CDispParamsMaster list(&params);
    std::vector<unsigned> results(arguments.values.size());
    char16_t* text = nullptr;
    const long status =
        list.Validate_Params(0, 24, flags, arguments.wanted.data(), results.data(), &text);
    if (!arguments.wanted.empty() && arguments.wanted[0] != VT_EMPTY) {
        check(arguments, results, status);
        require((text != nullptr) == (status != S_OK) && SysStringLen(text) < 256);
    }
    SysFreeString(text);
    return 0;
}
