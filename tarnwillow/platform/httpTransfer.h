// One attempt at a request and the reading of its answer. For the sources of the platform only.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "tarnwillow/platform/byteQueue.h"
#include "tarnwillow/platform/certificateFiles.h"
#include "tarnwillow/platform/http.h"
#include "tarnwillow/platform/httpLibrary.h"
#include "tarnwillow/platform/httpSecurity.h"

namespace tarnwillow::platform {

inline void release_multi(CURLM* multi) { http_library().curl_multi_cleanup(multi); }
inline void release_easy(CURL* easy) { http_library().curl_easy_cleanup(easy); }
inline void release_list(curl_slist* list) { http_library().curl_slist_free_all(list); }

class HttpSession {
public:
    using Multi = std::unique_ptr<CURLM, ReleasedBy<release_multi>>;

    std::string agent;
    bool no_proxy = false;
    Multi multi;
};

/// What stays the same from attempt to attempt.
struct HttpPlan {
    std::string url;
    std::string verb;
    bool secure = false;
    TlsTerms terms;
};

/// Drives a handle of the transfer library. It runs only inside the operations below: nothing
/// happens between them, and then a slow reader slows the sender down.
class HttpTransfer {
public:
    /// The cancellation may become another one between operations.
    HttpTransfer(HttpSession& session, HttpPlan& plan,
                 const std::shared_ptr<const HttpCancellation>& cancellation);
    ~HttpTransfer();
    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    // As those of HttpRequest.
    long send(const HttpUpload& upload, const HttpTimeOuts& time_outs);
    long receive_response();
    long read(char* buffer, std::size_t size, std::size_t* count);
    long wait_for_data(bool* available);

    int status_code() const { return answered_ ? status_code_ : 0; }
    long long content_length() const;
    char const* header(char const* name) const;
    char const* failure_text() const { return failure_.c_str(); }

private:
    using Easy = std::unique_ptr<CURL, ReleasedBy<release_easy>>;
    using List = std::unique_ptr<curl_slist, ReleasedBy<release_list>>;
    using Clock = std::chrono::steady_clock;
    enum class Step { resolve, connect, send, receive };

    /// One read of the connection, and the largest piece in which it is delivered.
    static constexpr long kReadSize = 128 * 1024;
    static constexpr std::size_t kHeld = kReadSize + 2 * CURL_MAX_WRITE_SIZE;

    // Setting up (httpSetup.cpp).
    class Options;
    long set_up(const HttpUpload& upload);
    void set_target(Options& set);
    void set_behaviour(Options& set);
    void set_security(Options& set);
    void set_upload(Options& set, const HttpUpload& upload);
    void set_callbacks(Options& set);
    long build_headers(const HttpUpload& upload);
    bool append_header(char const* line);

    // Called from within the transfer.
    static curl_socket_t on_address(void* self, curlsocktype, curl_sockaddr* address);
    static int on_connected(void* self, char*, char*, int, int);
    static int on_handshake(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
    static CURLcode on_security(CURL*, void* ssl_context, void* self);
    static std::size_t on_header(char* line, std::size_t, std::size_t length, void* self);
    static std::size_t on_body(char* bytes, std::size_t, std::size_t length, void* self);
    bool note_header(std::string_view line);
    bool object(char const* why);

    // Driving.
    template <class Condition>
    long drive(Condition reached);
    void perform();
    void wait();
    void collect_results();
    void enter(Step step) {
        step_ = step;
        last_progress_ = Clock::now();
    }
    void note_progress();
    long long progress() const;
    bool must_end() const { return cancellation_->cancelled() || milliseconds_left() <= 0; }
    long long milliseconds_left() const;
    int step_limit() const;
    long request_size() const;
    bool bytes_are_out() const;
    bool is_answered_early() const;
    bool request_is_out() const;
    void resume();
    void finish(long status, char const* text);
    void finish_with(CURLcode code);

    HttpSession& session_;
    HttpPlan& plan_;
    const std::shared_ptr<const HttpCancellation>& cancellation_;
    HttpTimeOuts time_outs_;
    List headers_;
    std::shared_ptr<const void> body_;
    Easy easy_;
    std::size_t body_size_ = 0;
    bool attached_ = false;

    Step step_ = Step::resolve;
    Clock::time_point last_progress_;
    long long seen_progress_ = 0;
    long long received_ = 0;        // bytes of the body
    std::size_t head_size_ = 0;     // bytes of all heads and trailers
    long size_before_request_ = 0;  // bytes that went out to a proxy first
    int status_code_ = 0;
    bool at_head_ = true;              // the next line is a status line
    bool answered_ = false;            // the head is complete
    char const* objection_ = nullptr;  // to what the server sends

    ByteQueue<kHeld> held_;
    char* wanted_ = nullptr;  // where the reader wants bytes put
    std::size_t wanted_size_ = 0;
    bool paused_ = false;
    bool out_of_memory_ = false;

    bool finished_ = false;
    long result_ = 0;
    char error_text_[CURL_ERROR_SIZE] = {};
    std::string failure_;
};

}  // namespace tarnwillow::platform
