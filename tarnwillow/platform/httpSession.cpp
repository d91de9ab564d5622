#include <curl/curl.h>
#include <dlfcn.h>

#include <new>

#include "tarnwillow/platform/http.h"
#include "tarnwillow/platform/httpTransfer.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

// A name that is being looked up goes on being so on a thread of its own when the request is given
// up: so the code that it runs must stay, also when this library is unloaded.
void keep_transfer_library() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(curl_easy_init), &info) != 0 && info.dli_fname != nullptr)
        dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

bool start_transfer_library() {
    static const bool started = [] {
        keep_transfer_library();
        return curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    }();
    return started;
}

}  // namespace

long open_http_session(char const* agent, bool no_proxy,
                       std::shared_ptr<HttpSession>* session) try {
    if (!start_transfer_library()) return E_OUTOFMEMORY;
    auto opened = std::make_shared<HttpSession>();
    opened->agent = agent;
    opened->no_proxy = no_proxy;
    opened->multi.reset(curl_multi_init());
    if (opened->multi == nullptr) return E_OUTOFMEMORY;
    *session = std::move(opened);
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

}  // namespace tarnwillow::platform
