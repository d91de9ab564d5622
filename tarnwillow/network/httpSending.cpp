// CHTTPConnection: sending a request until it is out, and hearing the head of the answer.
#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/network/CHTTPConnection.h"
#include "tarnwillow/network/logClasses.h"
#include "tarnwillow/network/narrowText.h"
#include "tarnwillow/platform/certificates.h"

namespace tarnwillow {

using detail::kBrowser;
using detail::kGeneralErrors;
using detail::narrow;

namespace {

constexpr int kMostAttempts = 20;
constexpr std::size_t kMostHeaders = 256;
constexpr std::size_t kLongestHeader = 8192;

/// Time that all attempts of a request share: no server that is not there is asked for longer than
/// one attempt may take.
class Budget {
public:
    explicit Budget(const platform::HttpTimeOuts& limits)
        : unlimited_(limits.resolve <= 0 || limits.connect <= 0 || limits.send <= 0 ||
                     limits.receive <= 0),
          end_(Clock::now() + milliseconds(limits.resolve) + milliseconds(limits.connect) +
               milliseconds(limits.send) + milliseconds(limits.receive)) {}

    bool is_spent() const { return !unlimited_ && left() <= 0; }

    /// As HttpRequest::send takes it.
    int for_attempt() const {
        return unlimited_ ? 0 : static_cast<int>(std::clamp<long long>(left(), 1, INT_MAX));
    }

private:
    using Clock = std::chrono::steady_clock;
    using milliseconds = std::chrono::milliseconds;

    long long left() const {
        return std::chrono::duration_cast<milliseconds>(end_ - Clock::now()).count();
    }

    const bool unlimited_;
    const Clock::time_point end_;
};

class HeaderList {
public:
    /// Takes a caller's list. False if a text is too long, has a line end, or cannot be read.
    bool take(char16_t const* const* texts) {
        for (std::size_t i = 0; i <= kMostHeaders; ++i) {
            char16_t const* text = nullptr;
            if (!entry(texts, i, &text)) return false;
            if (text == nullptr) return true;
            if (i == kMostHeaders || !add(text)) return false;
        }
        return false;
    }

    /// Ended by null; null if there are none.
    char const* const* lines() {
        pointers_.clear();
        for (const std::string& line : lines_)
            pointers_.push_back(line.c_str());
        pointers_.push_back(nullptr);
        return pointers_.data();
    }

private:
    static bool entry(char16_t const* const* texts, std::size_t index, char16_t const** text) {
        return probe_guard(
            [=] {
                *text = texts[index];
                return true;
            },
            [] { return false; });
    }

    bool add(char16_t const* text) {
        char16_t line[kLongestHeader];
        if (!detail::take_text(text, line)) return false;
        lines_.push_back(narrow(line));
        return true;
    }

    std::vector<std::string> lines_;
    std::vector<char const*> pointers_;
};

class SkipLog final : public platform::CertificateStore::Observer {
public:
    void skipped(char const* file, char const* reason) override {
        _LOG(kGeneralErrors, "The certificate %s is passed over: %s", file, reason);
    }
};

bool store(long* status, long value) {
    return reporting_guard(
        ExceptionLevelHandled, u"CHTTPConnection::Send_Request",
        [=] {
            if (status != nullptr) *status = value;
            return true;
        },
        [] { return false; });
}

}  // namespace

/// The attempts of one Send_Request.
class CHTTPConnection::Attempts {
public:
    explicit Attempts(CHTTPConnection& connection)
        : connection_(connection), budget_(connection.time_outs) {}

    /// S_OK once the request is out, and `sent` then tells so; else what Send_Request gives.
    long run(char16_t const* const* headers) {
        if (connection_.is_post && headers != nullptr && !headers_.take(headers))
            return ERROR_INVALID_PARAMETER;
        for (int attempt = 1; attempt <= kMostAttempts && !budget_.is_spent(); ++attempt) {
            if (connection_.cancelled()) return ERROR_CANCELLED;
            const long error = send();
            if (error == S_OK) {
                sent = true;
                return S_OK;
            }
            if (error != ERROR_CANCELLED) connection_.note_failure(error);  // told at the end
            connection_.status_forward = nullptr;
            if (const long end = recover(error); end != S_OK) return end;
        }
        return connection_.cancelled() ? ERROR_CANCELLED : S_OK;
    }

    bool sent = false;

private:
    long send() {
        if (connection_.request == nullptr) return ERROR_INVALID_HANDLE;
        const bool post = connection_.is_post;
        const platform::HttpUpload upload{post ? headers_.lines() : nullptr, post,
                                          connection_.post_data, connection_.post_data_size};
        connection_.request->obey(connection_.cancellation);
        return connection_.request->send(upload, connection_.time_outs, budget_.for_attempt());
    }

    /// S_OK if another attempt makes sense; else the end of it.
    long recover(long error) {
        switch (error) {
            case ERROR_CANCELLED:
            case ERROR_INVALID_PARAMETER:
                return error;
            case ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED:
                return answer_demand();
            case ERROR_WINHTTP_SECURE_INVALID_CA:
                connection_.accept_authority();
                return S_OK;
            default:
                return S_OK;
        }
    }

    // A server may ask for a certificate and not insist.
    long answer_demand() {
        const long result = connection_.Set_Client_Certification();
        if (result == 1) return S_OK;
        if (result != ERROR_NOT_FOUND || went_without_) return result;
        went_without_ = true;
        connection_.request->go_without_certificate();
        return S_OK;
    }

    CHTTPConnection& connection_;
    const Budget budget_;
    HeaderList headers_;
    bool went_without_ = false;
};

long CHTTPConnection::Send_Request(long* status, char16_t const* const* headers) {
    last_failure[0] = 0;
    try {
        Attempts attempts(*this);
        long result = attempts.run(headers);
        if (attempts.sent) result = receive_answer(status);
        if (result == ERROR_CANCELLED) note_cancellation();
        return result;
    } catch (const std::bad_alloc&) {
        return E_UNEXPECTED;
    }
}

long CHTTPConnection::receive_answer(long* status) {
    const long result = request->receive_response();
    if (cancelled()) return ERROR_CANCELLED;
    if (result == S_OK)
        last_failure[0] = 0;  // of an attempt before
    else
        note_failure(result);
    const int number = request->status_code();
    note_redirect(number);
    _LOG(kBrowser, "HTTP: the answer has status %d", number);
    return store(status, number) ? S_OK : E_UNEXPECTED;
}

void CHTTPConnection::note_redirect(int status) {
    if (status != 301 && status != 302 && status != 303 && status != 307) return;
    redirect_url[0] = 0;
    char const* const target = request->header("Location");
    if (target == nullptr) return;
    const std::size_t length = std::char_traits<char>::length(target);
    constexpr std::size_t kRoom = std::size(decltype(redirect_url){});
    if (platform::narrow_to_wide_length(target, length) >= kRoom)
        return _LOG(kGeneralErrors, "HTTP: the target of a redirect is too long");
    redirect_url[platform::narrow_to_wide(target, length, redirect_url, kRoom - 1).written] = 0;
}

void CHTTPConnection::note_failure(long error) {
    note_failure(error, request != nullptr ? request->failure_text() : "there is no request");
}

void CHTTPConnection::note_failure(long error, char const* reason) {
    char text[std::size(decltype(last_failure){})];
    std::snprintf(text, sizeof text, "%ld: %s", error, reason);
    const std::size_t length = std::char_traits<char>::length(text);
    last_failure[platform::narrow_to_wide(text, length, last_failure, sizeof text - 1).written] = 0;
    _LOG(kGeneralErrors, "HTTP: a request failed with %s", text);
}

void CHTTPConnection::note_cancellation() {
    note_failure(ERROR_CANCELLED, "the request was cancelled");
}

// Client certificates and unknown authorities.

long CHTTPConnection::Set_Client_Certification() {
    if (cancelled()) return ERROR_CANCELLED;
    if (request == nullptr) return ERROR_INVALID_HANDLE;
    std::shared_ptr<platform::CertificateStore> store;
    long result = platform::CertificateStore::open(store_name, &store);
    if (result != S_OK) return result;
    std::shared_ptr<platform::ClientCertificate> certificate;
    SkipLog log;
    result = store->find_by_issuer_unit(certificate_issuer_unit, *cancellation, log, &certificate);
    if (result != S_OK) return result;
    request->set_certificate(certificate);
    certificate_store = std::move(store);
    client_certificate = std::move(certificate);
    _LOG(kBrowser, "HTTP: a client certificate issued by %s is shown", certificate_issuer_unit);
    return 1;
}

void CHTTPConnection::accept_authority() {
    if (!accept_unknown_authority) return;
    request->set_security_flags(request->security_flags() | SECURITY_FLAG_IGNORE_UNKNOWN_CA);
    _LOG(kBrowser, "HTTP: the unknown authority is accepted");
}

}  // namespace tarnwillow
