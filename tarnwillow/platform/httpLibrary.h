// The transfer library, loaded with the first session: linked, it and the thirty libraries behind
// it would cost each program some milliseconds at its start. For the sources of the platform only.
#pragma once

#include <curl/curl.h>

namespace tarnwillow::platform {

#define TARNWILLOW_HTTP_PROCEDURES(X) \
    X(curl_easy_cleanup)              \
    X(curl_easy_getinfo)              \
    X(curl_easy_header)               \
    X(curl_easy_init)                 \
    X(curl_easy_pause)                \
    X(curl_easy_setopt)               \
    X(curl_easy_strerror)             \
    X(curl_global_init)               \
    X(curl_multi_add_handle)          \
    X(curl_multi_cleanup)             \
    X(curl_multi_info_read)           \
    X(curl_multi_init)                \
    X(curl_multi_perform)             \
    X(curl_multi_poll)                \
    X(curl_multi_remove_handle)       \
    X(curl_slist_append)              \
    X(curl_slist_free_all)            \
    X(curl_version_info)

/// Its procedures under their own names.
struct HttpLibrary {
// NOLINTNEXTLINE(bugprone-macro-parentheses)
#define TARNWILLOW_MEMBER(name) decltype(&::name) name;
    TARNWILLOW_HTTP_PROCEDURES(TARNWILLOW_MEMBER)
#undef TARNWILLOW_MEMBER
};

/// False if the system has none that will do; http_library_failure tells why. Any thread; what came
/// of the first call holds for the process.
bool load_http_library();

/// Only for whoever saw load_http_library succeed, as every session has.
const HttpLibrary& http_library();

}  // namespace tarnwillow::platform
