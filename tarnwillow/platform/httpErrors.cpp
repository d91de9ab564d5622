#include "tarnwillow/platform/httpErrors.h"

#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

struct Meaning {
    CURLcode code;
    long status;
};

constexpr Meaning kMeanings[] = {
    {CURLE_OK, S_OK},
    {CURLE_URL_MALFORMAT, ERROR_INVALID_PARAMETER},
    {CURLE_COULDNT_RESOLVE_PROXY, ERROR_WINHTTP_NAME_NOT_RESOLVED},
    {CURLE_COULDNT_RESOLVE_HOST, ERROR_WINHTTP_NAME_NOT_RESOLVED},
    {CURLE_COULDNT_CONNECT, ERROR_WINHTTP_CANNOT_CONNECT},
    {CURLE_INTERFACE_FAILED, ERROR_WINHTTP_CANNOT_CONNECT},
    {CURLE_PROXY, ERROR_WINHTTP_CANNOT_CONNECT},
    {CURLE_OPERATION_TIMEDOUT, ERROR_WINHTTP_TIMEOUT},
    {CURLE_OUT_OF_MEMORY, E_OUTOFMEMORY},
    {CURLE_SSL_CONNECT_ERROR, ERROR_WINHTTP_SECURE_CHANNEL_ERROR},
    {CURLE_SSL_CERTPROBLEM, ERROR_WINHTTP_SECURE_CHANNEL_ERROR},
    {CURLE_SSL_CIPHER, ERROR_WINHTTP_SECURE_CHANNEL_ERROR},
    // The chain had passed: what is left is the name.
    {CURLE_PEER_FAILED_VERIFICATION, ERROR_WINHTTP_SECURE_CERT_CN_INVALID},
    {CURLE_GOT_NOTHING, ERROR_WINHTTP_CONNECTION_ERROR},
    {CURLE_SEND_ERROR, ERROR_WINHTTP_CONNECTION_ERROR},
    {CURLE_RECV_ERROR, ERROR_WINHTTP_CONNECTION_ERROR},
    {CURLE_PARTIAL_FILE, ERROR_WINHTTP_CONNECTION_ERROR},
};

// How a server ends a connection for want of a certificate: in the handshake, or, as TLS 1.3 has
// it, once the request is out.
bool is_lost_connection(CURLcode code) {
    return code == CURLE_SSL_CONNECT_ERROR || code == CURLE_GOT_NOTHING ||
           code == CURLE_SEND_ERROR || code == CURLE_RECV_ERROR;
}

}  // namespace

long status_of(CURLcode code, const TlsTerms& terms, bool answered) {
    if (terms.refused_without() && !answered && is_lost_connection(code))
        return ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED;
    if (terms.failure != 0 &&
        (code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_CONNECT_ERROR))
        return terms.failure;
    for (const Meaning& meaning : kMeanings)
        if (meaning.code == code) return meaning.status;
    return ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
}

}  // namespace tarnwillow::platform
