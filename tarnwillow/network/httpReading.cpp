// CHTTPConnection: reading a body.
#include <memory>
#include <new>

#include "tarnwillow/network/CHTTPConnection.h"
#include "tarnwillow/text/urlParsing.h"

namespace tarnwillow {

namespace {

constexpr int kChunkSize = 20480;
constexpr std::uint16_t kHttpPort = 80;

constexpr char16_t kBrowserAgent[] =
    u"Mozilla/5.0 (Windows; U; Windows NT 5.1; en-US) AppleWebKit/530.5 (KHTML, like Gecko) "
    u"Chrome/2.0.172.39 Safari/530.5";

}  // namespace

int CHTTPConnection::Read_Next_Chunk(char* buffer, int size, bool* more) {
    if (more != nullptr) *more = false;
    if (request == nullptr) return 0;
    request->obey(cancellation);
    std::size_t count = 0;
    long result = cancelled() ? ERROR_CANCELLED : S_OK;
    if (result == S_OK && buffer != nullptr && size > 0)
        result = request->read(buffer, static_cast<std::size_t>(size), &count);
    if (result == S_OK && more != nullptr) result = request->wait_for_data(more);
    if (cancelled()) {
        if (more != nullptr) *more = false;
        note_cancellation();
        return 0;
    }
    if (result != S_OK) note_failure(result);
    return static_cast<int>(count);
}

long long CHTTPConnection::Get_Content_Length() const {
    return request != nullptr ? request->content_length() : -1;
}

bool CHTTPConnection::SmartBufferInitProc(int phase, void* buffer, long* count, long connection) {
    if (phase == 0) {
        *count = kChunkSize;
        return true;
    }
    bool more = false;
    auto* const source = reinterpret_cast<CHTTPConnection*>(connection);
    *count = source->Read_Next_Chunk(static_cast<char*>(buffer), kChunkSize, &more);
    return more;
}

bool Test_URL_Availabilty(char16_t const* url) try {
    const auto where = std::make_unique<InternetResourceDesc>();
    if (Parse_URL(url, where.get()) != S_OK) return false;
    const auto connection = std::make_unique<CHTTPConnection>();
    long status = 0;
    return connection->Initialize(kBrowserAgent, where->Host, kHttpPort, false, false, false, false,
                                  false, false, false) == S_OK &&
           connection->Connect(where->Path, u"GET", false, nullptr, nullptr) == S_OK &&
           connection->Send_Request(&status, nullptr) == S_OK && status == 200;
} catch (const std::bad_alloc&) {
    return false;
} catch (long) {
    return false;
}

}  // namespace tarnwillow
