// HTTP for a client that does one request at a time and blocks in it.
//
// A session keeps connections alive between requests to servers without security. A request is
// prepared once and can be sent several times; then its answer is read, piece by piece, at the pace
// of the reader. Results are 0 or an error number of status.h. Everything here belongs to one
// thread at a time, but for the cancellation, and never throws.
//
// Proxies are taken from the environment: `http_proxy` (in small letters), `https_proxy`,
// `all_proxy` and `no_proxy`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "tarnwillow/platform/httpCancellation.h"

namespace tarnwillow {

/// A handle of the HTTP service, as status callbacks see it.
using HINTERNET = struct HINTERNET__*;

/// Told of a request's steps: the handle, the caller's value, the step and what belongs to it.
using WINHTTP_STATUS_CALLBACK = void (*)(HINTERNET internet, unsigned long context,
                                         unsigned long status, void* information,
                                         unsigned long length);

/// A request over TLS.
inline constexpr std::uint32_t WINHTTP_FLAG_SECURE = 0x800000;

/// What a secure request lets pass: an unknown authority, a wrong purpose, another name, a date out
/// of range.
inline constexpr std::uint32_t SECURITY_FLAG_IGNORE_UNKNOWN_CA = 0x100;
inline constexpr std::uint32_t SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE = 0x200;
inline constexpr std::uint32_t SECURITY_FLAG_IGNORE_CERT_CN_INVALID = 0x1000;
inline constexpr std::uint32_t SECURITY_FLAG_IGNORE_CERT_DATE_INVALID = 0x2000;

namespace platform {

class ClientCertificate;

/// Milliseconds that a step may take without getting any further; 0 or less means for ever.
/// Connecting is counted for each address of the server, and ends with the secure handshake. The
/// head of an answer has to come within `receive`; a body has to get further.
struct HttpTimeOuts {
    int resolve = 5000;
    int connect = 5000;
    int send = 5000;
    int receive = 30000;
};

/// What is asked for. Texts are UTF-8, terminated, and copied.
struct HttpTarget {
    char const* host;  ///< name or address; IPv6 with or without brackets
    std::uint16_t port;
    char const* path;  ///< with the query; a missing "/" is put in front
    char const* verb;
    bool secure;
};

/// What goes out. The body may still be going out while the answer is read: the request keeps it
/// for so long.
struct HttpUpload {
    char const* const* headers;  ///< "Name: value", ended by null; null for none; copied
    bool has_body;
    std::shared_ptr<const void> body;
    std::size_t body_size;  ///< bytes
};

class HttpSession;

/// An agent text of "" sends none. ERROR_MOD_NOT_FOUND if the system's library for transfers cannot
/// be loaded, E_OUTOFMEMORY if the session cannot be made.
long open_http_session(char const* agent, bool no_proxy, std::shared_ptr<HttpSession>* session);

/// Why that library cannot be loaded, in words; "" if it can.
char const* http_library_failure();

class HttpRequest {
public:
    virtual ~HttpRequest() = default;
    HttpRequest(const HttpRequest&) = delete;
    HttpRequest& operator=(const HttpRequest&) = delete;

    /// Whose waits the following operations are, where several share a request: from now on that
    /// cancellation ends them.
    virtual void obey(std::shared_ptr<const HttpCancellation> cancellation) = 0;

    /// Whether the server asks for a certificate is only known during `send`, which then fails with
    /// ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED. The next `send` shows what was given here, or, after
    /// `go_without_certificate`, none: then it fails only if the server insists.
    virtual void set_certificate(std::shared_ptr<ClientCertificate> certificate) = 0;
    virtual void go_without_certificate() = 0;

    virtual void set_security_flags(std::uint32_t flags) = 0;
    virtual std::uint32_t security_flags() const = 0;

    /// Connects and sends. A former answer is given up. `budget` shortens the time-outs, those of
    /// the answer included; 0 or less does not. A failure means that sending again repeats nothing:
    /// what becomes of a request that is out, `receive_response` tells.
    virtual long send(const HttpUpload& upload, const HttpTimeOuts& time_outs, int budget) = 0;

    /// Waits for the head of the answer.
    virtual long receive_response() = 0;

    /// Of the answer's head; 0 before it came.
    virtual int status_code() const = 0;

    /// Bytes of the body as announced; -1 if they are not.
    virtual long long content_length() const = 0;

    /// The answer's first header of that name, or null. Good until the next call.
    virtual char const* header(char const* name) const = 0;

    /// Reads up to `size` bytes of the body: waits for the first one, not for more. 0 bytes with
    /// result 0 are the end. Bytes that came before a failure are delivered before the failure is.
    virtual long read(char* buffer, std::size_t size, std::size_t* count) = 0;

    /// Waits until a byte of the body is there or the body has ended.
    virtual long wait_for_data(bool* available) = 0;

    /// What went wrong, in words; "" if nothing did. Good until the next call.
    virtual char const* failure_text() const = 0;

protected:
    HttpRequest() = default;
};

/// Prepares a request; nothing goes out yet. It keeps the session alive. The cancellation makes
/// each of its waits end with ERROR_CANCELLED. ERROR_INVALID_PARAMETER for a host, path or verb
/// that could not stand in a request as one word.
long open_http_request(std::shared_ptr<HttpSession> session, const HttpTarget& target,
                       std::shared_ptr<const HttpCancellation> cancellation,
                       std::shared_ptr<HttpRequest>* request);

}  // namespace platform
}  // namespace tarnwillow
