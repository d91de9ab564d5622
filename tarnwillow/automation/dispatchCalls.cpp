// CDispatchMaster::Invoke_Method: a call with its arguments in a list or in the name.
#include <memory>
#include <new>
#include <string_view>

#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/automation/dispatchLog.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

/// A copy of a method's name, to be cut where its arguments begin.
class CallText {
public:
    explicit CallText(char16_t const* text) : size_(wide::length(text) + 1) {
        if (size_ > kSmallRoom) heap_.reset(new (std::nothrow) char16_t[size_]);
        text_ = size_ > kSmallRoom ? heap_.get() : small_;
        if (text_ != nullptr) wide::copy(text_, size_, text);
    }
    CallText(const CallText&) = delete;
    CallText& operator=(const CallText&) = delete;

    /// Null without memory.
    char16_t* name() const { return text_; }

    /// Cuts the text at every "(" up to the one that has arguments, and gives those; null if there
    /// are none.
    char16_t* cut_arguments() const {
        char16_t* at = text_;
        while ((at = wide::find(at, u'(')) != nullptr) {
            *at++ = 0;
            if (*at != u')') return at;
            ++at;
        }
        return nullptr;
    }

private:
    static constexpr std::size_t kSmallRoom = 128;

    std::size_t size_;
    char16_t small_[kSmallRoom];
    std::unique_ptr<char16_t[]> heap_;
    char16_t* text_;
};

}  // namespace

long CDispatchMaster::Invoke_Method(char16_t const* name, CDispParamsMaster* params,
                                    VARIANT* result) {
    if (dispatch == nullptr) return E_UNEXPECTED;
    if (name == nullptr) return E_INVALIDARG;
    if (wide::find(name, u'(') == nullptr) return call(name, params, result);
    const CallText text(name);
    if (text.name() == nullptr) return E_OUTOFMEMORY;
    std::unique_ptr<CDispParamsMaster> written;
    if (char16_t const* const arguments = text.cut_arguments()) {
        if (params != nullptr) return E_INVALIDARG;
        written.reset(new (std::nothrow) CDispParamsMaster);
        if (written == nullptr) return E_OUTOFMEMORY;
        const long failure = Parse_Parameter_String(written.get(), arguments);
        if (failure != S_OK) return failure;
        params = written.get();
    }
    return call(text.name(), params, result);
}

long CDispatchMaster::call(char16_t const* name, CDispParamsMaster* arguments, VARIANT* result) {
    DISPID id = DISPID_UNKNOWN;
    const long missing = find_member(name, &id);
    if (missing != S_OK) {
        detail::log_missing_method(name, missing);
        return missing;
    }
    DISPPARAMS none{};
    DISPPARAMS* params = arguments != nullptr ? arguments->Get_Param_Array() : nullptr;
    if (params == nullptr) params = &none;
    if (log_calls) detail::log_method_call(name, params);
    const std::uint32_t start = log_calls ? GetTickCount() : 0;
    CAutoSectionLock lock(invoke_lock, u"CDispatchMaster::Invoke_Method", u"");
    const long status = _Do_Invoke(id, params, result, name);
    lock.Unlock();
    if (!log_calls) return status;
    if (result != nullptr) detail::log_method_result(name, result, status);
    if (GetTickCount() - start > detail::kSlowCallMilliseconds)
        detail::log_slow_call(detail::kDispatchMasterClass,
                              u"SLOW! Function Call: \"%s\" took %3.3fs", name,
                              GetTickCount() - start);
    return status;
}

long CDispatchMaster::_Do_Invoke(long id, DISPPARAMS* params, VARIANT* result,
                                 char16_t const* name) {
    if (dispatch == nullptr) return E_UNEXPECTED;
    return coded_guard(
        [&]() -> long {
            return dispatch->Invoke(static_cast<DISPID>(id), IID_NULL, LOCALE_USER_DEFAULT,
                                    DISPATCH_METHOD, params, result, nullptr, nullptr);
        },
        [&](std::uint32_t code) {
            detail::log_fault_in_method(name, code);
            return E_INVALIDARG;
        });
}

}  // namespace tarnwillow
