#include <new>

#include "tarnwillow/platform/http.h"
#include "tarnwillow/platform/httpLibrary.h"
#include "tarnwillow/platform/httpTransfer.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

long open_http_session(char const* agent, bool no_proxy,
                       std::shared_ptr<HttpSession>* session) try {
    if (!load_http_library()) return ERROR_MOD_NOT_FOUND;
    auto opened = std::make_shared<HttpSession>();
    opened->agent = agent;
    opened->no_proxy = no_proxy;
    opened->multi.reset(http_library().curl_multi_init());
    if (opened->multi == nullptr) return E_OUTOFMEMORY;
    *session = std::move(opened);
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

}  // namespace tarnwillow::platform
