#include <algorithm>
#include <new>
#include <utility>

#include "tarnwillow/platform/http.h"
#include "tarnwillow/platform/httpTarget.h"
#include "tarnwillow/platform/httpTransfer.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

HttpTimeOuts within(HttpTimeOuts time_outs, int budget) {
    if (budget <= 0) return time_outs;
    for (int* limit : {&time_outs.resolve, &time_outs.connect, &time_outs.send, &time_outs.receive})
        *limit = *limit > 0 ? std::min(*limit, budget) : budget;
    return time_outs;
}

/// What an operation gives when there is no memory for it.
template <class Operation>
long without_throwing(Operation operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

class Request final : public HttpRequest {
public:
    Request(std::shared_ptr<HttpSession> session,
            std::shared_ptr<const HttpCancellation> cancellation)
        : session_(std::move(session)), cancellation_(std::move(cancellation)) {}

    bool prepare(const HttpTarget& target) {
        plan_.url = url_of(target);
        plan_.verb = verb_of(target.verb);
        plan_.secure = target.secure;
        return !plan_.url.empty() && !plan_.verb.empty();
    }

    void obey(std::shared_ptr<const HttpCancellation> cancellation) override {
        cancellation_ = std::move(cancellation);
    }
    void set_certificate(std::shared_ptr<ClientCertificate> certificate) override {
        plan_.terms.certificate = std::move(certificate);
    }
    void go_without_certificate() override { plan_.terms.goes_without = true; }
    void set_security_flags(std::uint32_t flags) override { plan_.terms.flags = flags; }
    std::uint32_t security_flags() const override { return plan_.terms.flags; }

    long send(const HttpUpload& upload, const HttpTimeOuts& time_outs, int budget) override {
        transfer_.reset();
        return without_throwing([&] {
            transfer_ = std::make_unique<HttpTransfer>(*session_, plan_, cancellation_);
            return transfer_->send(upload, within(time_outs, budget));
        });
    }
    long receive_response() override {
        return on_transfer([](HttpTransfer& transfer) { return transfer.receive_response(); });
    }
    long read(char* buffer, std::size_t size, std::size_t* count) override {
        *count = 0;
        return on_transfer(
            [=](HttpTransfer& transfer) { return transfer.read(buffer, size, count); });
    }
    long wait_for_data(bool* available) override {
        *available = false;
        return on_transfer(
            [=](HttpTransfer& transfer) { return transfer.wait_for_data(available); });
    }

    int status_code() const override { return transfer_ ? transfer_->status_code() : 0; }
    long long content_length() const override {
        return transfer_ ? transfer_->content_length() : -1;
    }
    char const* header(char const* name) const override {
        return transfer_ ? transfer_->header(name) : nullptr;
    }
    char const* failure_text() const override { return transfer_ ? transfer_->failure_text() : ""; }

private:
    template <class Operation>
    long on_transfer(Operation operation) {
        if (transfer_ == nullptr) return ERROR_INVALID_HANDLE;
        return without_throwing([&] { return operation(*transfer_); });
    }

    const std::shared_ptr<HttpSession> session_;
    std::shared_ptr<const HttpCancellation> cancellation_;
    HttpPlan plan_;
    std::unique_ptr<HttpTransfer> transfer_;  // of the last attempt
};

}  // namespace

long open_http_request(std::shared_ptr<HttpSession> session, const HttpTarget& target,
                       std::shared_ptr<const HttpCancellation> cancellation,
                       std::shared_ptr<HttpRequest>* request) {
    if (session == nullptr) return ERROR_INVALID_HANDLE;
    return without_throwing([&]() -> long {
        auto opened = std::make_shared<Request>(std::move(session), std::move(cancellation));
        if (!opened->prepare(target)) return ERROR_INVALID_PARAMETER;
        *request = std::move(opened);
        return S_OK;
    });
}

}  // namespace tarnwillow::platform
