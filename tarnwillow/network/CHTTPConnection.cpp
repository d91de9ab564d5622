#include "tarnwillow/network/CHTTPConnection.h"

#include <cstring>
#include <new>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/network/logClasses.h"
#include "tarnwillow/network/narrowText.h"
#include "tarnwillow/platform/certificates.h"

namespace tarnwillow {

using detail::narrow;
using detail::take_text;

namespace {

std::shared_ptr<platform::HttpCancellation> copy_of(const platform::HttpCancellation& other) {
    try {
        return std::make_shared<platform::HttpCancellation>(other);
    } catch (const std::bad_alloc&) {
        throw E_OUTOFMEMORY;
    }
}

}  // namespace

CHTTPConnection::CHTTPConnection() : cancellation(copy_of({})) {}

// The members go one by one, since a copy must not wait for, or wake, the waits of its source.
CHTTPConnection::CHTTPConnection(const CHTTPConnection& other)
    : cancellation(copy_of(*other.cancellation)) {
    *this = other;
}

CHTTPConnection& CHTTPConnection::operator=(const CHTTPConnection& other) {
    if (this == &other) return *this;
    if (other.cancelled()) cancellation->cancel();
    status_forward = other.status_forward;
    session = other.session;
    request = other.request;
    std::memcpy(host, other.host, sizeof host);
    std::memcpy(user_agent, other.user_agent, sizeof user_agent);
    std::memcpy(certificate_issuer_unit, other.certificate_issuer_unit,
                sizeof certificate_issuer_unit);
    port = other.port;
    certificate_store = other.certificate_store;
    std::memcpy(store_name, other.store_name, sizeof store_name);
    client_certificate = other.client_certificate;
    security_flags = other.security_flags;
    std::memcpy(redirect_url, other.redirect_url, sizeof redirect_url);
    post_data = other.post_data;
    post_data_size = other.post_data_size;
    accept_unknown_authority = other.accept_unknown_authority;
    is_post = other.is_post;
    time_outs = other.time_outs;
    std::memcpy(last_failure, other.last_failure, sizeof last_failure);
    return *this;
}

CHTTPConnection::~CHTTPConnection() {
    request.reset();
    client_certificate.reset();
    certificate_store.reset();
    session.reset();
}

long CHTTPConnection::Initialize(char16_t const* userAgent, char16_t const* server,
                                 unsigned short server_port, bool secure, bool noProxy, bool, bool,
                                 bool, bool, bool acceptUnknownAuthority) {
    char16_t agent[256] = {};
    char16_t name[256];
    if (userAgent != nullptr && !take_text(userAgent, agent)) return ERROR_INVALID_PARAMETER;
    if (!take_text(server, name)) return ERROR_INVALID_PARAMETER;
    std::memcpy(user_agent, agent, sizeof agent);
    std::memcpy(host, name, sizeof name);
    port = server_port;
    if (secure) security_flags |= WINHTTP_FLAG_SECURE;
    accept_unknown_authority = acceptUnknownAuthority;
    time_outs = {};
    session.reset();
    try {
        const long result = platform::open_http_session(narrow(agent).c_str(), noProxy, &session);
        if (result == ERROR_MOD_NOT_FOUND) note_failure(result, platform::http_library_failure());
        return result;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

void CHTTPConnection::Set_Time_Outs(int resolve, int connect, int send, int receive) {
    time_outs = {resolve, connect, send, receive};
}

long CHTTPConnection::Connect(char16_t const* path, char16_t const* verb, bool secure,
                              char16_t const*, char16_t const*) {
    request.reset();
    char16_t asked_path[2048] = u"/";
    char16_t asked_verb[32] = u"GET";
    if (path != nullptr && !take_text(path, asked_path)) return ERROR_INVALID_PARAMETER;
    if (verb != nullptr && !take_text(verb, asked_verb)) return ERROR_INVALID_PARAMETER;
    is_post = wide::compare_no_case(asked_verb, u"POST") == 0;
    long result = E_OUTOFMEMORY;
    try {
        const std::string to = narrow(host), what = narrow(asked_path), how = narrow(asked_verb);
        _LOG(detail::kBrowser, "HTTP: %s of %s from %s, port %d%s", how.c_str(), what.c_str(),
             to.c_str(), int{port}, secure ? ", secure" : "");
        result = platform::open_http_request(
            session, {to.c_str(), port, what.c_str(), how.c_str(), secure}, cancellation, &request);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    if (result == S_OK && secure)
        request->set_security_flags(security_flags & ~WINHTTP_FLAG_SECURE);
    return result;
}

long CHTTPConnection::Set_Post_Data(void const* data, unsigned long size) {
    post_data.reset();
    post_data_size = 0;
    if (size > UINT32_MAX || (data == nullptr && size != 0)) return E_INVALIDARG;
    std::shared_ptr<char[]> copy;
    try {
        copy.reset(new char[size]);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    char* const to = copy.get();
    const bool readable = reporting_guard(
        ExceptionLevelHandled, u"CHTTPConnection::Set_Post_Data",
        [=] {
            if (size != 0) std::memcpy(to, data, size);
            return true;
        },
        [] { return false; });
    if (!readable) return E_INVALIDARG;
    post_data = std::move(copy);
    post_data_size = static_cast<std::uint32_t>(size);
    return S_OK;
}

long CHTTPConnection::Get_Redirect_URL(char16_t* out, int capacity) const {
    const std::size_t length = wide::length(redirect_url);
    if (length == 0) return E_UNEXPECTED;
    if (capacity < 0 || length > static_cast<std::size_t>(capacity))
        return ERROR_INSUFFICIENT_BUFFER;
    return reporting_guard(
        ExceptionLevelHandled, u"CHTTPConnection::Get_Redirect_URL",
        [&] {
            std::memcpy(not_null(out), redirect_url, (length + 1) * sizeof(char16_t));
            return S_OK;
        },
        [] { return E_INVALIDARG; });
}

long CHTTPConnection::Set_Certification_Store_Name(char const* name) {
    char text[sizeof store_name];
    if (!take_text(name, text)) return ERROR_INVALID_PARAMETER;
    std::strcpy(store_name, text);
    return S_OK;
}

long CHTTPConnection::Set_Certificate_Issuer_Unit(char const* unit) {
    char text[sizeof certificate_issuer_unit];
    if (!take_text(unit, text)) return ERROR_INVALID_PARAMETER;
    std::strcpy(certificate_issuer_unit, text);
    return S_OK;
}

void CHTTPConnection::Set_Security_Flags(int flags) {
    security_flags = static_cast<std::uint32_t>(flags);
}

void CHTTPConnection::Cancel_Operations() { cancellation->cancel(); }

void CHTTPConnection::Status_Callback(HINTERNET internet, unsigned long context,
                                      unsigned long status, void* information,
                                      unsigned long length) {
    auto* const connection = reinterpret_cast<CHTTPConnection*>(context);
    if (connection != nullptr)
        connection->_Status_Callback(internet, context, status, information, length);
}

// No step means anything to a client that waits for each of them.
void CHTTPConnection::_Status_Callback(HINTERNET internet, unsigned long context,
                                       unsigned long status, void* information,
                                       unsigned long length) {
    if (status_forward != nullptr) status_forward(internet, context, status, information, length);
}

}  // namespace tarnwillow
