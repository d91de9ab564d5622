#include "network/loopback.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "support/temporaryFolder.h"

extern char** environ;

namespace tarnwillow::test {

namespace {

union Address {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
};

Address address_of(const std::string& text, unsigned short port) {
    Address address{};
    if (inet_pton(AF_INET6, text.c_str(), &address.v6.sin6_addr) == 1) {
        address.v6.sin6_family = AF_INET6;
        address.v6.sin6_port = htons(port);
        return address;
    }
    address.v4.sin_family = AF_INET;
    address.v4.sin_port = htons(port);
    inet_pton(AF_INET, text.c_str(), &address.v4.sin_addr);
    return address;
}

socklen_t size_of(const Address& address) {
    return address.any.sa_family == AF_INET6 ? sizeof address.v6 : sizeof address.v4;
}

}  // namespace

Listener::Listener(const std::string& text, unsigned short port, int queue) {
    Address address = address_of(text, port);
    descriptor_ = socket(address.any.sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    socklen_t size = size_of(address);
    if (bind(descriptor_, &address.any, size) != 0 || listen(descriptor_, queue) != 0) {
        close(descriptor_);
        descriptor_ = -1;
        return;
    }
    getsockname(descriptor_, &address.any, &size);
    port_ = ntohs(address.any.sa_family == AF_INET6 ? address.v6.sin6_port : address.v4.sin_port);
}

Listener::~Listener() {
    if (descriptor_ >= 0) close(descriptor_);
}

void Listener::shut_down() { shutdown(descriptor_, SHUT_RDWR); }

DeafPort::DeafPort() {
    const Address address = address_of("127.0.0.1", port());
    for (int i = 0; i < 4; ++i) {
        waiting_.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        static_cast<void>(connect(waiting_.back(), &address.any, size_of(address)));
    }
}

DeafPort::~DeafPort() {
    for (const int descriptor : waiting_)
        close(descriptor);
}

Peer::~Peer() { close(descriptor_); }

bool Peer::receive() {
    char bytes[16384];
    const ssize_t count = recv(descriptor_, bytes, sizeof bytes, 0);
    if (count <= 0) return false;
    pending_.append(bytes, static_cast<std::size_t>(count));
    return true;
}

std::string Peer::read_head() {
    std::size_t end = 0;
    while ((end = pending_.find("\r\n\r\n")) == std::string::npos)
        if (!receive()) return {};
    std::string head = pending_.substr(0, end + 4);
    pending_.erase(0, end + 4);
    return head;
}

std::string Peer::read_body(std::size_t size) {
    while (pending_.size() < size && receive()) {
    }
    return pending_.substr(0, size);
}

bool Peer::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL);
        if (count <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void Peer::wait_for_end() {
    while (receive()) {
    }
}

namespace {

bool pass_on(int from, int to) {
    char bytes[16384];
    const ssize_t count = recv(from, bytes, sizeof bytes, 0);
    return count > 0 && send(to, bytes, static_cast<std::size_t>(count), MSG_NOSIGNAL) == count;
}

}  // namespace

void Peer::tunnel_to(unsigned short port) {
    const Address address = address_of("127.0.0.1", port);
    const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bool open = connect(server, &address.any, size_of(address)) == 0;
    while (open) {
        pollfd ends[] = {{descriptor_, POLLIN, 0}, {server, POLLIN, 0}};
        open = poll(ends, 2, -1) > 0;
        if (open && ends[0].revents != 0) open = pass_on(descriptor_, server);
        if (open && ends[1].revents != 0) open = pass_on(server, descriptor_);
    }
    close(server);
}

ScriptedServer::ScriptedServer(std::function<void(Peer&)> serve, const std::string& address,
                               unsigned short port)
    : listener_(address, port), serve_(std::move(serve)) {
    if (listener_.open()) thread_ = std::thread([this] { run(); });
}

ScriptedServer::~ScriptedServer() {
    if (!thread_.joinable()) return;
    listener_.shut_down();
    thread_.join();
}

void ScriptedServer::run() {
    for (;;) {
        const int descriptor = accept4(listener_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0) return;
        ++connections_;
        Peer peer(descriptor);
        serve_(peer);
    }
}

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (std::string& text : texts)
        list.push_back(text.data());
    list.push_back(nullptr);
    return list;
}

[[noreturn]] void become(std::vector<std::string>& arguments, const std::string& folder,
                         const std::vector<std::string>& environment, int inherited, int output) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    if (inherited == 3)
        fcntl(3, F_SETFD, 0);
    else if (inherited >= 0)
        dup2(inherited, 3);
    for (const std::string& setting : environment)
        putenv(const_cast<char*>(setting.c_str()));
    if (chdir(folder.c_str()) != 0) _exit(126);
    execvp(arguments[0].c_str(), pointers(arguments).data());
    _exit(127);
}

}  // namespace

ServerProcess::ServerProcess(std::vector<std::string> arguments, const std::string& folder,
                             const std::vector<std::string>& environment, int inherited) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    process_ = fork();
    if (process_ == 0) become(arguments, folder, environment, inherited, ends[1]);
    close(ends[1]);
    output_ = ends[0];
}

ServerProcess::~ServerProcess() {
    if (process_ > 0) {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }
    if (output_ >= 0) close(output_);
}

std::string ServerProcess::wait_for_line(std::string_view start) {
    std::string line;
    for (char c = 0; read(output_, &c, 1) == 1;) {
        if (c != '\n') {
            line += c;
            continue;
        }
        if (line.rfind(start, 0) == 0) return line.substr(start.size());
        line.clear();
    }
    return {};
}

namespace {

std::string replaced(std::string text, std::string_view what, std::string_view with) {
    for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; at += with.size())
        text.replace(at, what.size(), with);
    return text;
}

// Everything that the server writes goes to its own folder.
constexpr char kConfiguration[] = R"(
daemon off;
user root;
worker_processes 1;
pid $ROOT/nginx.pid;
error_log $ROOT/error.log;
events { }
http {
    access_log off;
    default_type application/octet-stream;
    client_body_temp_path $ROOT/temp-body;
    proxy_temp_path $ROOT/temp-proxy;
    fastcgi_temp_path $ROOT/temp-fastcgi;
    uwsgi_temp_path $ROOT/temp-uwsgi;
    scgi_temp_path $ROOT/temp-scgi;
    server {
        listen $LISTEN;
        root $ROOT;
        $SERVER
    }
}
)";

}  // namespace

Nginx::Nginx(const std::string& folder, std::string server, bool secure, const std::string& address)
    : listener_(address) {
    if (!listener_.open()) return;
    const bool v6 = address.find(':') != address.npos;
    const std::string where = (v6 ? "[" + address + "]" : address) + ":" + std::to_string(port()) +
                              (secure ? " ssl" : "");
    std::string text = replaced(kConfiguration, "$SERVER", server);
    text = replaced(replaced(text, "$LISTEN", where), "$ROOT", folder);
    const std::string file = folder + "/nginx.conf";
    write_file(file, text);
    // It takes over the listening socket, so no connection comes too early.
    process_ = std::make_unique<ServerProcess>(
        std::vector<std::string>{"/usr/sbin/nginx", "-p", folder, "-c", file, "-e",
                                 folder + "/error.log"},
        folder, std::vector<std::string>{"NGINX=3;"}, listener_.descriptor());
}

TlsServer::TlsServer(const std::string& folder, std::vector<std::string> options) {
    std::vector<std::string> arguments{"openssl", "s_server", "-accept", "127.0.0.1:0", "-WWW"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    process_ = std::make_unique<ServerProcess>(arguments, folder);
    const std::string where = process_->wait_for_line("ACCEPT ");
    const std::size_t colon = where.rfind(':');
    if (colon != where.npos)
        port_ = static_cast<unsigned short>(std::atoi(where.c_str() + colon + 1));
}

}  // namespace tarnwillow::test
