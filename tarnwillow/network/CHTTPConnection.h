#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/http.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace platform {
class CertificateStore;
}

/// An HTTP client: one session, one server, one request at a time, all in the caller's thread.
///
///     CHTTPConnection connection;
///     connection.Initialize(u"agent/1.0", u"example.org", 443, true, false, false, false, false,
///                           false, false);
///     connection.Connect(u"index.xml", u"GET", true, nullptr, nullptr);
///     long status = 0;
///     connection.Send_Request(&status, nullptr);
///     buffer.Initialize_From_Callback(0, CHTTPConnection::SmartBufferInitProc,
///                                     reinterpret_cast<long>(&connection));
///
/// Operations with a `long` result give 0 on success, and ERROR_INVALID_PARAMETER (87) for a text
/// with a line end in it or one that is longer than told. Redirects are never followed: their
/// status is handed back and Get_Redirect_URL tells the target. Nothing throws but the
/// constructors, which throw `long` E_OUTOFMEMORY.
///
/// An object belongs to one thread at a time, but for Cancel_Operations. A copy shares request and
/// answer with its source until either of the two connects anew, and the session until either is
/// initialised anew: so long, only one of the two may be in use at a time. Cancelling one ends its
/// own operations, and with them a request that is shared.
class TARNWILLOW_API CHTTPConnection {
public:
    CHTTPConnection();
    /// Shares session, request and answer: see above.
    CHTTPConnection(const CHTTPConnection& other);
    CHTTPConnection& operator=(const CHTTPConnection& other);
    virtual ~CHTTPConnection();

    /// Opens the session, in place of an earlier one. Agent and host have at most 255 characters; a
    /// null agent sends none. Without `noProxy` proxies are taken from the environment. With
    /// `acceptUnknownAuthority` a server is believed whose certificate comes from an authority that
    /// is not known here; its name and dates are still checked. The other bools have no effect,
    /// except that `secure` notes WINHTTP_FLAG_SECURE in the security flags. ERROR_MOD_NOT_FOUND
    /// (126) if the system lacks the library for transfers, libcurl: Get_Last_Failure tells more.
    long Initialize(char16_t const* userAgent, char16_t const* host, unsigned short port,
                    bool secure, bool noProxy, bool, bool, bool, bool, bool acceptUnknownAuthority);

    /// Milliseconds without any progress after which looking up the name, connecting, sending and
    /// receiving are given up; 0 means never. The head of an answer has to be complete within the
    /// last. Initialize sets 5000, 5000, 5000 and 30000. All attempts of one Send_Request together
    /// take no longer to fail than their sum, but for the time in which data that is posted gets
    /// any further.
    void Set_Time_Outs(int resolve, int connect, int send, int receive);

    /// Prepares a request for `path` (at most 2047 characters, with the query; a missing "/" is put
    /// in front, and null means "/") and gives up the one before. A null verb means GET. The last
    /// two arguments have no effect. ERROR_INVALID_HANDLE without a session.
    long Connect(char16_t const* path, char16_t const* verb, bool secure, char16_t const*,
                 char16_t const*);

    /// Takes a copy of what POST requests send, in place of what was set before, which is given up
    /// also if this fails. E_INVALIDARG for more than 32 bits of size, or for data that cannot be
    /// read.
    long Set_Post_Data(void const* data, unsigned long size);

    /// Sends, and waits for the head of the answer, whose status it stores through `status` unless
    /// that is null. Every status counts as success, 404 and 500 too. For a POST, `headers` are
    /// lines like "Name: value", ended by a null; other requests send none.
    ///
    /// While sending fails it tries again, up to 20 times. A demand for a client certificate is met
    /// from the certificate store; if that has none, the request goes on without, and
    /// ERROR_NOT_FOUND tells that the server insists. If all attempts fail the result is 0 and
    /// `*status` stays what it was: so set it before, and see Get_Last_Failure. If the request went
    /// out and no answer came, `*status` becomes 0; that is not repeated.
    long Send_Request(long* status, char16_t const* const* headers);

    /// Reads up to `size` bytes of the body and gives how many; waits for the first one. 0 at the
    /// end, after a failure and once cancelled. With `more` it then waits for what comes next, and
    /// tells whether any byte does.
    int Read_Next_Chunk(char* buffer, int size, bool* more);

    /// Bytes of the body as the server announced them, or -1.
    long long Get_Content_Length() const;

    /// A producer for CSmartBuffer::Initialize_From_Callback: its `user` is the address of a
    /// connection whose request has been sent. Reads in pieces of 20480 bytes.
    static bool SmartBufferInitProc(int phase, void* buffer, long* count, long connection);

    /// Copies the target that the last answer with status 301, 302, 303 or 307 gave, as given, to
    /// `out`, which must have room for `capacity` characters and a terminator.
    /// ERROR_INSUFFICIENT_BUFFER if it has more characters; E_UNEXPECTED if there is none.
    long Get_Redirect_URL(char16_t* out, int capacity) const;

    /// Why the last request failed, in words that begin with the error's number; "" if it did not,
    /// so far. It also tells why a body ended early.
    char16_t const* Get_Last_Failure() const { return last_failure; }

    /// The certificate store that is searched, at most 31 bytes. "MY" if nothing else is set.
    long Set_Certification_Store_Name(char const* name);

    /// The organisational unit of the issuer whose certificate is wanted, at most 255 bytes of
    /// UTF-8. "DisOrg" if nothing else is set.
    long Set_Certificate_Issuer_Unit(char const* unit);

    /// SECURITY_FLAG_... values for the secure requests that are prepared from now on.
    void Set_Security_Flags(int flags);

    /// From any thread, once and for all: a blocked operation of this object returns at once, and
    /// later ones refuse to work.
    void Cancel_Operations();

protected:
    /// Finds a client certificate and gives it to the request: 1. Anything else is the reason why
    /// not: ERROR_CANCELLED, ERROR_NOT_FOUND or another.
    long Set_Client_Certification();

    /// For derived classes that are told of a request's steps: `context` is the object's address.
    static void Status_Callback(HINTERNET internet, unsigned long context, unsigned long status,
                                void* information, unsigned long length);
    void _Status_Callback(HINTERNET internet, unsigned long context, unsigned long status,
                          void* information, unsigned long length);

    /// The state, for derived classes to read. Texts are terminated.
    WINHTTP_STATUS_CALLBACK status_forward = nullptr;
    std::shared_ptr<platform::HttpSession> session;
    std::shared_ptr<platform::HttpRequest> request;
    char16_t host[256] = {};
    char16_t user_agent[256] = {};
    char certificate_issuer_unit[256] = "DisOrg";
    std::uint16_t port = 80;
    std::shared_ptr<platform::CertificateStore> certificate_store;
    char store_name[32] = "MY";
    std::shared_ptr<platform::ClientCertificate> client_certificate;
    std::uint32_t security_flags = 0;
    char16_t redirect_url[2048] = {};
    std::shared_ptr<char[]> post_data;
    std::uint32_t post_data_size = 0;
    bool accept_unknown_authority = false;
    bool is_post = false;
    std::shared_ptr<platform::HttpCancellation> cancellation;
    platform::HttpTimeOuts time_outs;
    char16_t last_failure[512] = {};

private:
    class Attempts;

    bool cancelled() const { return cancellation->cancelled(); }
    long receive_answer(long* status);
    void note_redirect(int status);
    void note_failure(long error);
    void note_failure(long error, char const* reason);
    void note_cancellation();
    void accept_authority();
};

/// Whether a GET of the URL's path from its host, at port 80 whatever the URL says, is answered
/// with status 200. A redirect counts as no.
TARNWILLOW_API bool Test_URL_Availabilty(char16_t const* url);

}  // namespace tarnwillow
