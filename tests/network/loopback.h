// Servers on loopback, each at a port of its own that the system chose.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tarnwillow::test {

/// A listening socket; connections wait in its queue from the start.
class Listener {
public:
    /// `address` may be IPv6. Port 0 is one that is free. `open` is false if there is no such
    /// address here.
    explicit Listener(const std::string& address = "127.0.0.1", unsigned short port = 0,
                      int queue = 64);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    bool open() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }
    unsigned short port() const { return port_; }
    void shut_down();

private:
    int descriptor_ = -1;
    unsigned short port_ = 0;
};

/// A port that neither takes connections nor refuses them.
class DeafPort {
public:
    DeafPort();
    ~DeafPort();
    DeafPort(const DeafPort&) = delete;
    DeafPort& operator=(const DeafPort&) = delete;

    unsigned short port() const { return listener_.port(); }

private:
    Listener listener_{"127.0.0.1", 0, 0};
    std::vector<int> waiting_;  // fill the queue
};

/// One client's connection, as its server sees it.
class Peer {
public:
    explicit Peer(int descriptor) : descriptor_(descriptor) {}
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    int descriptor() const { return descriptor_; }

    /// Up to and with the empty line; what came of the body stays for read_body.
    std::string read_head();
    std::string read_body(std::size_t size);

    /// False once the client has gone.
    bool write(std::string_view text);

    /// Waits until the client has gone.
    void wait_for_end();

    /// Passes on what comes, either way, between the client and a port, until one of them goes.
    void tunnel_to(unsigned short port);

private:
    bool receive();

    const int descriptor_;
    std::string pending_;
};

/// Runs `serve` for each connection, one after the other, on a thread of its own. A `serve` must
/// end when its client goes.
class ScriptedServer {
public:
    explicit ScriptedServer(std::function<void(Peer&)> serve,
                            const std::string& address = "127.0.0.1", unsigned short port = 0);
    ~ScriptedServer();

    bool open() const { return listener_.open(); }
    unsigned short port() const { return listener_.port(); }
    int connections() const { return connections_; }

private:
    void run();

    Listener listener_;
    const std::function<void(Peer&)> serve_;
    std::atomic<int> connections_{0};
    std::thread thread_;
};

/// A program that runs beside the test and is stopped with it.
class ServerProcess {
public:
    /// `arguments[0]` is looked for in PATH and in /usr/sbin. The descriptor `inherited` goes to
    /// the program as its number 3.
    ServerProcess(std::vector<std::string> arguments, const std::string& folder,
                  const std::vector<std::string>& environment = {}, int inherited = -1);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    /// Reads its output up to a line that begins so, and gives the rest of that line; "" if it
    /// ended before.
    std::string wait_for_line(std::string_view start);

private:
    int process_ = -1;
    int output_ = -1;
};

/// nginx with a folder of documents. `server` is what stands in its server block; "$ROOT" in there
/// is the folder.
class Nginx {
public:
    Nginx(const std::string& folder, std::string server, bool secure = false,
          const std::string& address = "127.0.0.1");

    bool open() const { return listener_.open(); }
    unsigned short port() const { return listener_.port(); }

private:
    Listener listener_;
    std::unique_ptr<ServerProcess> process_;
};

/// `openssl s_server`, which serves the files of `folder`.
class TlsServer {
public:
    TlsServer(const std::string& folder, std::vector<std::string> options);
    unsigned short port() const { return port_; }

private:
    std::unique_ptr<ServerProcess> process_;
    unsigned short port_ = 0;
};

}  // namespace tarnwillow::test
