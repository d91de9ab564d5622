// Any bytes as what a server sends back, to a GET, while a POST is still going out, or as the
// answer of a proxy: the client reads the answer to its end, without harm, and tells either a
// status or why there is none.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tarnwillow/network/CHTTPConnection.h"
#include "tarnwillow/text/CSmartBuffer.h"

namespace {

using namespace tarnwillow;

/// Sends the reply to whoever connects, and hangs up.
class Server {
public:
    Server() : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (bind(listener_, any, size) != 0 || listen(listener_, 16) != 0) std::abort();
        getsockname(listener_, any, &size);
        port_ = ntohs(address.sin_port);
        std::thread([this] { run(); }).detach();
    }

    unsigned short port() const { return port_; }
    void set_reply(const std::uint8_t* bytes, std::size_t size) {
        const std::lock_guard hold(lock_);
        reply_.assign(bytes, bytes + size);
    }

private:
    std::vector<std::uint8_t> reply() {
        const std::lock_guard hold(lock_);
        return reply_;
    }

    [[noreturn]] void run() {
        for (;;) {
            const int peer = accept(listener_, nullptr, nullptr);
            if (peer < 0) std::abort();
            const std::vector<std::uint8_t> bytes = reply();
            char request[4096];
            recv(peer, request, sizeof request, 0);
            send(peer, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            shutdown(peer, SHUT_WR);
            while (recv(peer, request, sizeof request, 0) > 0) {
            }
            close(peer);
        }
    }

    const int listener_;
    unsigned short port_ = 0;
    std::mutex lock_;
    std::vector<std::uint8_t> reply_;
};

bool is_terminated(const CHTTPConnection& connection) {
    char16_t target[2048];
    std::memset(target, 0x55, sizeof target);
    const long result = connection.Get_Redirect_URL(target, 2047);
    if (result != S_OK) return result == E_UNEXPECTED;
    return std::char_traits<char16_t>::find(target, 2048, u'\0') != nullptr;
}

/// Which request meets the reply. The size chooses, so that each seed is a reply as it stands.
enum Kind { kGet, kPost, kThroughProxy, kKinds };

void prepare(CHTTPConnection& connection, Kind kind, unsigned short port) {
    const bool proxy = kind == kThroughProxy;
    setenv("https_proxy", ("http://127.0.0.1:" + std::to_string(port)).c_str(), 1);
    unsetenv("no_proxy");
    connection.Initialize(u"fuzz", proxy ? u"far.test" : u"127.0.0.1", port, proxy, !proxy, false,
                          false, false, false, false);
    connection.Set_Time_Outs(500, 500, 500, 500);
    static const std::string data(300'000, 'd');
    connection.Set_Post_Data(data.data(), data.size());
    connection.Connect(u"/", kind == kPost ? u"POST" : u"GET", proxy, nullptr, nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static auto* const server = new Server;
    server->set_reply(bytes, size);
    CHTTPConnection connection;
    prepare(connection, static_cast<Kind>(size % kKinds), server->port());
    long status = -1;
    if (connection.Send_Request(&status, nullptr) != S_OK) std::abort();
    if (status <= 0 && connection.Get_Last_Failure()[0] == 0) std::abort();
    CSmartBuffer buffer;
    if (buffer.Initialize_From_Callback(0, CHTTPConnection::SmartBufferInitProc,
                                        reinterpret_cast<long>(&connection)) != S_OK)
        std::abort();
    if (buffer.Get_End_Of_Data() > size || !is_terminated(connection)) std::abort();
    return 0;
}
