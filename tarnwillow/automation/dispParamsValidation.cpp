// CDispParamsMaster::Validate_Params.
#include <algorithm>
#include <charconv>

#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kTextRoom = 256;
constexpr int kConvert = 1;

/// What the test of one argument found.
struct Finding {
    long status = S_OK;
    char16_t const* detail = u"";
};

/// The failures, one behind the other.
class FailureText {
public:
    void add(int index, const Finding& finding) {
        if (text_[0] != 0) append(u" ");
        append(u"Parameter ");
        append_number(index);
        append(finding.detail);
    }
    BSTR to_string() const { return text_[0] != 0 ? SysAllocString(text_) : nullptr; }

private:
    void append(char16_t const* piece) { wide::append(text_, kTextRoom, piece); }

    void append_number(int number) {
        char digits[12];
        char16_t wide[12] = {};
        std::copy(digits, std::to_chars(digits, digits + 12, number).ptr, wide);
        append(wide);
    }

    char16_t text_[kTextRoom] = {};
};

// An object's own code runs in here, behind a pointer that a script's host gave.
Finding convert(VARIANT* argument, VARTYPE wanted) {
    VARIANT converted{};
    converted.vt = wanted;
    Finding finding;
    const bool returned = probe_guard(
        [&] {
            finding.status = VariantChangeType(&converted, argument, 0, wanted);
            return true;
        },
        [] { return false; });
    if (!returned) return {DISP_E_TYPEMISMATCH, u": Failed to convert the variant type"};
    VARIANT replaced = std::exchange(*argument, converted);
    probe_guard([&] { VariantClear(&replaced); }, no_recovery);
    return finding;
}

Finding test_argument(VARIANT* argument, int wanted, int flags) {
    if (wanted == VT_USERDEFINED || wanted == argument->vt) return {};
    if (wanted == VT_DISPATCH && argument->vt == VT_NULL) return {};
    if ((flags & kConvert) != 0) return convert(argument, static_cast<VARTYPE>(wanted));
    return {E_INVALIDARG, u": Wrong variant type specified"};
}

}  // namespace

long CDispParamsMaster::Validate_Params(int min_count, int max_count, int flags, int const* types,
                                        unsigned int* results, char16_t** error_text) {
    const int count = Count_Params();
    if (static_cast<unsigned>(count) < static_cast<unsigned>(min_count))
        return DISP_E_PARAMNOTOPTIONAL;
    if (static_cast<unsigned>(count) > static_cast<unsigned>(max_count))
        return DISP_E_BADPARAMCOUNT;
    long first_failure = S_OK;
    FailureText failures;
    const bool tests_types = types != nullptr && count > 0 && types[0] != VT_EMPTY;
    for (int i = 0; tests_types && i < count; ++i) {
        VARIANT* const found = argument(i);
        if (found == nullptr) return E_INVALIDARG;  // a caller's list without an array
        const Finding finding = test_argument(found, types[i], flags);
        if (results != nullptr) results[i] = static_cast<unsigned>(finding.status);
        if (finding.status == S_OK) continue;
        if (first_failure == S_OK) first_failure = finding.status;
        failures.add(i, finding);
    }
    if (error_text != nullptr) *error_text = failures.to_string();
    return first_failure;
}

}  // namespace tarnwillow
