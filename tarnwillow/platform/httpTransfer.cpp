#include "tarnwillow/platform/httpTransfer.h"

#include <algorithm>

#include "tarnwillow/platform/httpErrors.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

/// A wait without limit looks around once in a while; one that cannot be woken does so often.
constexpr long long kLongestWait = 60'000;
constexpr long long kLongestWaitUnwoken = 50;

/// Statuses from here on are no success.
constexpr int kFirstRefusal = 300;

constexpr char kTimeOutPassed[] = "the time-out has passed";

}  // namespace

HttpTransfer::HttpTransfer(HttpSession& session, HttpPlan& plan,
                           const std::shared_ptr<const HttpCancellation>& cancellation)
    : session_(session), plan_(plan), cancellation_(cancellation) {
    plan_.terms.forget();
}

HttpTransfer::~HttpTransfer() {
    if (attached_) http_library().curl_multi_remove_handle(session_.multi.get(), easy_.get());
}

// What a caller does.

long HttpTransfer::send(const HttpUpload& upload, const HttpTimeOuts& time_outs) {
    time_outs_ = time_outs;
    if (const long result = set_up(upload); result != S_OK) {
        finish(result, "the request cannot be set up");
        return result;
    }
    attached_ = http_library().curl_multi_add_handle(session_.multi.get(), easy_.get()) == CURLM_OK;
    if (!attached_) finish(E_OUTOFMEMORY, "no memory");
    const long result = drive([this] { return request_is_out(); });
    const bool may_be_repeated = !bytes_are_out() || result == ERROR_CANCELLED ||
                                 result == ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED;
    return may_be_repeated && !answered_ ? result : S_OK;
}

long HttpTransfer::receive_response() {
    const long result = drive([this] { return answered_; });
    if (result == S_OK && !answered_)  // which the library takes for an answer without a body
        finish(ERROR_WINHTTP_INVALID_SERVER_RESPONSE, "the answer ended within its head");
    return answered_ ? S_OK : result_;
}

long HttpTransfer::read(char* buffer, std::size_t size, std::size_t* count) {
    const std::size_t held = held_.take(buffer, size);
    *count = held;
    if (held == size) return S_OK;
    wanted_ = buffer + held;
    wanted_size_ = size - held;
    resume();
    long result = S_OK;
    if (held == 0)
        result = drive([this, size] { return wanted_size_ < size; });
    else
        perform();
    *count = size - wanted_size_;
    wanted_ = nullptr;
    wanted_size_ = 0;
    return *count != 0 ? S_OK : result;
}

long HttpTransfer::wait_for_data(bool* available) {
    if (held_.size() == 0) resume();
    const long result = drive([this] { return held_.size() != 0; });
    *available = held_.size() != 0;
    return *available ? S_OK : result;
}

// Whatever waited in the transfer library is delivered at once.
void HttpTransfer::resume() {
    if (!paused_ || finished_) return;
    paused_ = false;
    http_library().curl_easy_pause(easy_.get(), CURLPAUSE_CONT);
}

long long HttpTransfer::content_length() const {
    curl_off_t length = -1;
    if (answered_)
        http_library().curl_easy_getinfo(easy_.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    return length;
}

char const* HttpTransfer::header(char const* name) const {
    curl_header* found = nullptr;
    const bool has = answered_ && http_library().curl_easy_header(
                                      easy_.get(), name, 0, CURLH_HEADER, -1, &found) == CURLHE_OK;
    return has ? found->value : nullptr;
}

// Driving.

/// Until the condition is met, the transfer ends, a step takes too long or somebody cancels. S_OK
/// if the condition was met, or if the transfer ended well without it.
template <class Condition>
long HttpTransfer::drive(Condition reached) {
    last_progress_ = Clock::now();
    for (;;) {
        if (reached()) return S_OK;
        if (finished_) return result_;
        perform();
        if (!reached() && !finished_) wait();
    }
}

void HttpTransfer::perform() {
    if (finished_) return;
    if (cancellation_->cancelled()) return finish(ERROR_CANCELLED, "the request was cancelled");
    int running = 0;
    if (http_library().curl_multi_perform(session_.multi.get(), &running) != CURLM_OK)
        return finish(E_OUTOFMEMORY, "no memory");
    collect_results();
    note_progress();
}

void HttpTransfer::wait() {
    const long long left = milliseconds_left();
    if (left <= 0) return finish(ERROR_WINHTTP_TIMEOUT, kTimeOutPassed);
    const int descriptor = cancellation_->wake_descriptor();
    curl_waitfd wake{descriptor, CURL_WAIT_POLLIN, 0};
    const unsigned count = descriptor >= 0 ? 1 : 0;
    const long long longest = descriptor >= 0 ? kLongestWait : kLongestWaitUnwoken;
    http_library().curl_multi_poll(session_.multi.get(), count != 0 ? &wake : nullptr, count,
                                   static_cast<int>(std::min(left, longest)), nullptr);
}

// Whoever shares the session shares what is driven: the end may be that of another's transfer.
void HttpTransfer::collect_results() {
    int left = 0;
    while (CURLMsg const* message =
               http_library().curl_multi_info_read(session_.multi.get(), &left))
        if (message->msg == CURLMSG_DONE) {
            HttpTransfer* ended = nullptr;
            http_library().curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &ended);
            ended->finish_with(message->data.result);
        }
}

// Time.

void HttpTransfer::note_progress() {
    if (step_ == Step::send && (bytes_are_out() || is_answered_early())) enter(Step::receive);
    const long long now = progress();
    if (now == seen_progress_) return;
    seen_progress_ = now;
    last_progress_ = Clock::now();
}

// Grows with every byte of a body. The lines of a head do not count: they could go on for ever.
long long HttpTransfer::progress() const {
    curl_off_t uploaded = 0;
    http_library().curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &uploaded);
    return received_ + uploaded;
}

int HttpTransfer::step_limit() const {
    switch (step_) {
        case Step::resolve:
            return time_outs_.resolve;
        case Step::connect:
            return time_outs_.connect;
        case Step::send:
            return time_outs_.send;
        case Step::receive:
            break;
    }
    return time_outs_.receive;
}

long long HttpTransfer::milliseconds_left() const {
    const int limit = step_limit();
    if (limit <= 0) return kLongestWait;
    const auto passed =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - last_progress_);
    return limit - passed.count();
}

// How far the request is.

long HttpTransfer::request_size() const {
    long size = 0;
    http_library().curl_easy_getinfo(easy_.get(), CURLINFO_REQUEST_SIZE, &size);
    return size;
}

bool HttpTransfer::bytes_are_out() const {
    curl_off_t uploaded = 0;
    http_library().curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &uploaded);
    return step_ >= Step::send && request_size() > size_before_request_ &&
           uploaded >= static_cast<curl_off_t>(body_size_);
}

// A server that refuses or redirects wants no more of the body. One that is content still does, but
// its answer has to be read before it can go on, if there is no more room for it here.
bool HttpTransfer::is_answered_early() const {
    return answered_ && (status_code_ >= kFirstRefusal || paused_);
}

// A server that wants a certificate and got none may still refuse: TLS 1.3 tells only afterwards.
bool HttpTransfer::request_is_out() const {
    if (!bytes_are_out()) return is_answered_early();
    return answered_ || !plan_.terms.refused_without();
}

// The end.

void HttpTransfer::finish(long status, char const* text) {
    if (attached_) http_library().curl_multi_remove_handle(session_.multi.get(), easy_.get());
    attached_ = false;
    finished_ = true;
    result_ = status;
    if (status != S_OK) failure_ = text;
}

void HttpTransfer::finish_with(CURLcode code) {
    if (code != CURLE_OK && cancellation_->cancelled())
        return finish(ERROR_CANCELLED, "the request was cancelled");
    if (code == CURLE_ABORTED_BY_CALLBACK) return finish(ERROR_WINHTTP_TIMEOUT, kTimeOutPassed);
    if (objection_ != nullptr) return finish(ERROR_WINHTTP_INVALID_SERVER_RESPONSE, objection_);
    // The library has one result for want of memory and for a line beyond its own limit.
    if (code == CURLE_OUT_OF_MEMORY && !out_of_memory_ && bytes_are_out() && !answered_)
        return finish(ERROR_WINHTTP_INVALID_SERVER_RESPONSE, "the answer's head is too large");
    const long status = out_of_memory_ ? E_OUTOFMEMORY : status_of(code, plan_.terms, answered_);
    if (status == ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED)
        return finish(status, "the server asks for a client certificate");
    if (!plan_.terms.reason.empty()) return finish(status, plan_.terms.reason.c_str());
    finish(status, error_text_[0] != 0 ? error_text_ : http_library().curl_easy_strerror(code));
}

}  // namespace tarnwillow::platform
