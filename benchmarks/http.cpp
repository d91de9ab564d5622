// A body over HTTP into one buffer: ours through the producer that fills a CSmartBuffer, beside the
// transfer library's easy interface with a growing string. Both keep their connection alive. A
// process of its own serves them on loopback, so that its work and its memory are not counted.
//
// The counter `peak` is the memory, in bytes, that the process gained at its highest during one
// load. `buffer_alone` fills the same buffer without HTTP: what ours needs beyond it is the
// client's.
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "processMemory.h"
#include "tarnwillow/network/CHTTPConnection.h"
#include "tarnwillow/text/CSmartBuffer.h"

namespace {

using tarnwillow::CHTTPConnection;
using tarnwillow::CSmartBuffer;

unsigned short server_port;

// The server: "GET /N" is answered with N bytes.

bool send_all(int peer, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t sent = send(peer, bytes, count, MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool answer(int peer, std::size_t size) {
    static const std::string piece(1 << 20, 'x');
    const std::string head =
        "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n";
    if (!send_all(peer, head.data(), head.size())) return false;
    for (; size > 0; size -= std::min(size, piece.size()))
        if (!send_all(peer, piece.data(), std::min(size, piece.size()))) return false;
    return true;
}

void serve(int peer) {
    const int at_once = 1;  // the head does not wait for the body
    setsockopt(peer, IPPROTO_TCP, TCP_NODELAY, &at_once, sizeof at_once);
    std::string request;
    char bytes[4096];
    for (ssize_t count; (count = recv(peer, bytes, sizeof bytes, 0)) > 0;) {
        request.append(bytes, static_cast<std::size_t>(count));
        if (request.find("\r\n\r\n") == std::string::npos) continue;
        if (!answer(peer, std::strtoul(request.c_str() + std::strlen("GET /"), nullptr, 10))) break;
        request.clear();
    }
    close(peer);
}

void start_server() {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, any, size) != 0 || listen(listener, 16) != 0) std::abort();
    getsockname(listener, any, &size);
    server_port = ntohs(address.sin_port);
    if (fork() != 0) {
        close(listener);
        return;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) {
        const int peer = accept(listener, nullptr, nullptr);
        if (peer >= 0 && fork() == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            serve(peer);
            _exit(0);
        }
        close(peer);
    }
}

template <class Load>
void measure(benchmark::State& state, Load load) {
    const auto size = static_cast<std::size_t>(state.range(0));
    load(size);  // connects
    state.counters["peak"] = peak_of([&] { load(size); });
    for (auto _ : state)
        if (load(size) != size) return state.SkipWithError("the body did not come whole");
    state.SetBytesProcessed(static_cast<long>(state.iterations()) * state.range(0));
}

// The jobs.

void ours(benchmark::State& state) {
    CHTTPConnection connection;
    connection.Initialize(u"bench", u"127.0.0.1", server_port, false, true, false, false, false,
                          false, false);
    measure(state, [&](std::size_t size) -> std::size_t {
        const std::string narrow = std::to_string(size);
        const std::u16string path(narrow.begin(), narrow.end());
        connection.Connect(path.c_str(), u"GET", false, nullptr, nullptr);
        long status = 0;
        if (connection.Send_Request(&status, nullptr) != 0 || status != 200) return 0;
        CSmartBuffer buffer;
        buffer.Initialize_From_Callback(0, CHTTPConnection::SmartBufferInitProc,
                                        reinterpret_cast<long>(&connection));
        return buffer.Get_End_Of_Data();
    });
}

std::size_t append(char* bytes, std::size_t, std::size_t count, void* text) {
    static_cast<std::string*>(text)->append(bytes, count);
    return count;
}

void easy_into_string(benchmark::State& state) {
    CURL* const easy = curl_easy_init();
    curl_easy_setopt(easy, CURLOPT_PROXY, "");
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, append);
    measure(state, [&](std::size_t size) {
        const std::string url =
            "http://127.0.0.1:" + std::to_string(server_port) + "/" + std::to_string(size);
        std::string body;
        curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
        curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
        return curl_easy_perform(easy) == CURLE_OK ? body.size() : 0;
    });
    curl_easy_cleanup(easy);
}

bool produce(int phase, void* destination, long* count, long left) {
    auto* const remaining = reinterpret_cast<std::size_t*>(left);
    constexpr std::size_t kChunk = 20480;
    *count = static_cast<long>(phase == 0 ? kChunk : std::min(*remaining, kChunk));
    if (phase == 0) return true;
    std::memset(destination, 'x', static_cast<std::size_t>(*count));
    *remaining -= static_cast<std::size_t>(*count);
    return *remaining != 0;
}

void buffer_alone(benchmark::State& state) {
    measure(state, [](std::size_t size) {
        CSmartBuffer buffer;
        buffer.Initialize_From_Callback(0, produce, reinterpret_cast<long>(&size));
        return static_cast<std::size_t>(buffer.Get_End_Of_Data());
    });
}

void bodies(benchmark::internal::Benchmark* bench) {
    bench->ArgName("bytes")->Unit(benchmark::kMillisecond)->UseRealTime();
    bench->Arg(100)->Arg(1'000'000)->Arg(100'000'000);
}

BENCHMARK(ours)->Apply(bodies);
BENCHMARK(easy_into_string)->Apply(bodies);
BENCHMARK(buffer_alone)->Apply(bodies);

}  // namespace

int main(int argc, char** argv) {
    start_server();
    // The allocator keeps freed memory only once it has seen a large block go. Without this the
    // first benchmarks would pay for fresh pages each time and the later ones would not.
    void* large = std::malloc(std::size_t{30} << 20);
    benchmark::DoNotOptimize(large);
    std::free(large);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
