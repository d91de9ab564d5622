// How a transfer is set up: what it may do, what it sends, and whom it calls.
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string_view>

#include "tarnwillow/platform/httpTarget.h"
#include "tarnwillow/platform/httpTransfer.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

/// Heads and trailers of one answer together. Nothing but this bounds them.
constexpr std::size_t kLargestHead = 256 * 1024;

constexpr int kSwitchingProtocols = 101;

/// The number in a status line, or 0.
int status_number(std::string_view line) {
    const std::size_t space = line.find(' ');
    if (space == line.npos) return 0;
    int number = 0;
    for (const char c : line.substr(space + 1, 3)) {
        if (c < '0' || c > '9') break;
        number = number * 10 + (c - '0');
    }
    return number;
}

bool equal_no_case(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

/// Whether a header line says that the body is packed. The library would unpack it unasked, and a
/// few bytes could become gigabytes.
bool tells_of_packing(std::string_view line) {
    constexpr std::string_view kName = "Transfer-Encoding:";
    if (!equal_no_case(line.substr(0, kName.size()), kName)) return false;
    line.remove_prefix(std::min(line.find_first_not_of(" \t", kName.size()), line.size()));
    const std::string_view value = line.substr(0, line.find_last_not_of(" \t\r\n") + 1);
    return !equal_no_case(value, "chunked") && !equal_no_case(value, "identity");
}

/// The file with all authorities of the system, or null.
char const* file_of_authorities() {
    static char const* const file = http_library().curl_version_info(CURLVERSION_NOW)->cainfo;
    return file != nullptr && access(file, R_OK) == 0 ? file : nullptr;
}

}  // namespace

class HttpTransfer::Options {
public:
    explicit Options(CURL* easy) : easy_(easy) {}
    template <class T>
    void operator()(CURLoption option, T value) {
        if (code_ == CURLE_OK) code_ = http_library().curl_easy_setopt(easy_, option, value);
    }
    CURLcode code() const { return code_; }

private:
    CURL* const easy_;
    CURLcode code_ = CURLE_OK;
};

long HttpTransfer::set_up(const HttpUpload& upload) {
    easy_.reset(http_library().curl_easy_init());
    if (easy_ == nullptr) return E_OUTOFMEMORY;
    if (const long result = build_headers(upload); result != S_OK) return result;
    Options set(easy_.get());
    set_target(set);
    set_behaviour(set);
    if (plan_.secure) set_security(set);
    set_upload(set, upload);
    set_callbacks(set);
    return set.code() == CURLE_OK ? S_OK : E_OUTOFMEMORY;
}

void HttpTransfer::set_target(Options& set) {
    set(CURLOPT_URL, plan_.url.c_str());
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
    if (session_.no_proxy) set(CURLOPT_PROXY, "");
    if (!session_.agent.empty()) set(CURLOPT_USERAGENT, session_.agent.c_str());
}

// The time-outs of the steps are kept here, by `drive`. The library's own bound makes it pass on to
// a server's next address in time; it must not be left to itself, which would be five minutes.
void HttpTransfer::set_behaviour(Options& set) {
    const bool bounded = time_outs_.resolve > 0 && time_outs_.connect > 0;
    const long connect = bounded ? long{time_outs_.resolve} + time_outs_.connect : INT_MAX;
    set(CURLOPT_CONNECTTIMEOUT_MS, std::min(connect, long{INT_MAX}));
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L);  // giving up must not wait for a name that is being looked up
    set(CURLOPT_BUFFERSIZE, kReadSize);
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(CURLOPT_ERRORBUFFER, error_text_);
}

// A connection that was made under one request's terms must not serve another's.
void HttpTransfer::set_security(Options& set) {
    const bool any_name = (plan_.terms.flags & SECURITY_FLAG_IGNORE_CERT_CN_INVALID) != 0;
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, any_name ? 0L : 2L);
    // The library would read the file for each session, and nothing could end that. A machine
    // without the file has its authorities in a folder, or none but the "ROOT" store.
    set(CURLOPT_CAINFO, static_cast<char const*>(nullptr));
    if (file_of_authorities() != nullptr) set(CURLOPT_CAPATH, static_cast<char const*>(nullptr));
    set(CURLOPT_CA_CACHE_TIMEOUT, 0L);
    set(CURLOPT_SSLVERSION, long{CURL_SSLVERSION_TLSv1_2});
    set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
    set(CURLOPT_FRESH_CONNECT, 1L);
    set(CURLOPT_FORBID_REUSE, 1L);
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_XFERINFOFUNCTION, on_handshake);
    set(CURLOPT_XFERINFODATA, this);
    set(CURLOPT_SSL_CTX_FUNCTION, on_security);
    set(CURLOPT_SSL_CTX_DATA, this);
}

// If a kept connection turns out to be closed, the library sends the request again on another: only
// one that changes nothing at the server may go out twice.
void HttpTransfer::set_upload(Options& set, const HttpUpload& upload) {
    body_ = upload.body;
    body_size_ = upload.has_body ? upload.body_size : 0;
    if (plan_.verb != "GET" && plan_.verb != "HEAD") set(CURLOPT_FRESH_CONNECT, 1L);
    set(CURLOPT_HTTPHEADER, headers_.get());
    if (plan_.verb == "HEAD") {
        set(CURLOPT_NOBODY, 1L);
    } else if (upload.has_body) {
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDS, body_size_ != 0 ? body_.get() : "");
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_size_));
    } else {
        set(CURLOPT_CUSTOMREQUEST, plan_.verb.c_str());
    }
}

void HttpTransfer::set_callbacks(Options& set) {
    set(CURLOPT_PRIVATE, this);
    set(CURLOPT_OPENSOCKETFUNCTION, on_address);
    set(CURLOPT_OPENSOCKETDATA, this);
    set(CURLOPT_PREREQFUNCTION, on_connected);
    set(CURLOPT_PREREQDATA, this);
    set(CURLOPT_HEADERFUNCTION, on_header);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_WRITEFUNCTION, on_body);
    set(CURLOPT_WRITEDATA, this);
}

bool HttpTransfer::append_header(char const* line) {
    curl_slist* const longer = http_library().curl_slist_append(headers_.get(), line);
    if (longer == nullptr) return false;
    static_cast<void>(headers_.release());
    headers_.reset(longer);
    return true;
}

// Nothing is sent that the caller has not asked for: a name with an empty value leaves it out.
long HttpTransfer::build_headers(const HttpUpload& upload) {
    for (char const* const unasked : {"Accept:", "Expect:", "Content-Type:"})
        if (!append_header(unasked)) return E_OUTOFMEMORY;
    for (auto const* next = upload.headers; next != nullptr && *next != nullptr; ++next) {
        const std::string line = header_line(*next);
        if (line.empty()) return ERROR_INVALID_PARAMETER;
        if (!append_header(line.c_str())) return E_OUTOFMEMORY;
    }
    return S_OK;
}

// Called from within the transfer.

curl_socket_t HttpTransfer::on_address(void* self, curlsocktype, curl_sockaddr* address) {
    static_cast<HttpTransfer*>(self)->enter(Step::connect);
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

int HttpTransfer::on_connected(void* self, char*, char*, int, int) {
    auto& transfer = *static_cast<HttpTransfer*>(self);
    transfer.enter(Step::send);
    transfer.size_before_request_ = transfer.request_size();
    return CURL_PREREQFUNC_OK;
}

// A proxy is listened to for as long as it talks before it opens the way to the server: nothing
// else could end that. Afterwards each step comes back to `drive`.
int HttpTransfer::on_handshake(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    auto const& transfer = *static_cast<HttpTransfer*>(self);
    return transfer.step_ <= Step::connect && transfer.must_end() ? 1 : 0;
}

CURLcode HttpTransfer::on_security(CURL*, void* ssl_context, void* self) {
    auto& transfer = *static_cast<HttpTransfer*>(self);
    const bool applied = apply_terms(ssl_context, &transfer.plan_.terms, file_of_authorities(),
                                     *transfer.cancellation_);
    return applied ? CURLE_OK : CURLE_OUT_OF_MEMORY;
}

std::size_t HttpTransfer::on_header(char* line, std::size_t, std::size_t length, void* self) {
    auto& transfer = *static_cast<HttpTransfer*>(self);
    return transfer.note_header({line, length}) ? length : 0;
}

// An answer that only announces another one (status 1xx) is passed over.
bool HttpTransfer::note_header(std::string_view line) {
    head_size_ += line.size();
    if (head_size_ > kLargestHead) return object("the answer's head is too large");
    if (answered_) return true;
    if (at_head_) status_code_ = status_number(line);
    if (status_code_ == kSwitchingProtocols) return object("the server leaves HTTP unasked");
    if (tells_of_packing(line)) return object("the answer is packed, which nobody asked for");
    at_head_ = line == "\r\n" || line == "\n";
    answered_ = at_head_ && status_code_ >= 200;
    return true;
}

bool HttpTransfer::object(char const* why) {
    objection_ = why;
    return false;
}

std::size_t HttpTransfer::on_body(char* bytes, std::size_t, std::size_t length, void* self) {
    auto& transfer = *static_cast<HttpTransfer*>(self);
    const bool straight = transfer.held_.size() == 0;
    const std::size_t direct = straight ? std::min(length, transfer.wanted_size_) : 0;
    if (length - direct > transfer.held_.room()) {
        transfer.paused_ = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    if (direct != 0) std::memcpy(transfer.wanted_, bytes, direct);
    transfer.wanted_ += direct;
    transfer.wanted_size_ -= direct;
    transfer.received_ += static_cast<long long>(length);
    if (transfer.held_.put(bytes + direct, length - direct)) return length;
    transfer.out_of_memory_ = true;
    return 0;
}

}  // namespace tarnwillow::platform
