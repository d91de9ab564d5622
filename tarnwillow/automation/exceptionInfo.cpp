#include "tarnwillow/automation/exceptionInfo.h"

#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/statusText.h"

namespace tarnwillow::detail {

void fill_exception(EXCEPINFO* exception, long status, char16_t const* source,
                    char16_t const* description) {
    const long code = HRESULT_FROM_WIN32(status);
    *exception = EXCEPINFO{};
    exception->scode = static_cast<std::int32_t>(code);
    exception->bstrSource = SysAllocString(source);
    char16_t text[256];
    if (description == nullptr || *description == 0) {
        platform::describe_status(code, text, 256);
        description = text;
    }
    exception->bstrDescription = SysAllocString(description);
}

}  // namespace tarnwillow::detail
