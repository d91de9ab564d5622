// What fails, how often it is tried, and what is told of it.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <future>

#include "network/client.h"
#include "network/loopback.h"
#include "network/names.h"
#include "support/childProcess.h"
#include "support/failingAllocator.h"
#include "support/logCollector.h"
#include "support/temporaryFolder.h"

namespace tarnwillow::test {

namespace {

using Clock = std::chrono::steady_clock;

template <class Work>
long milliseconds_of(Work work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

/// Milliseconds that a request takes to be given up, with time-outs of 50 for each step.
long time_to_give_up(Client& client, bool secure = false, long status = Client::kUntouched) {
    client.Set_Time_Outs(50, 50, 50, 50);
    const long time = milliseconds_of([&] { EXPECT_EQ(client.get(u"/", secure), status); });
    EXPECT_EQ(client.result, 0);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_TIMEOUT) << client.failure();
    EXPECT_LT(time, 1000) << "all attempts share the time of one";
    return time;
}

unsigned short closed_port() { return Listener().port(); }

}  // namespace

TEST(Failures, LeaveTheStatusUntouchedAfterTwentyAttempts) {
    const LogCollector log;
    ScriptedServer server([](Peer&) {});  // which hangs up in the secure handshake
    Client client(server.port());
    EXPECT_EQ(client.get(u"/", true), Client::kUntouched);
    EXPECT_EQ(client.result, 0);
    EXPECT_EQ(server.connections(), 20);
    const auto failed = [](const LoggedLine& line) { return line.log_class == 1; };
    const std::vector<LoggedLine> lines = log.lines();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), failed), 20);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_SECURE_CHANNEL_ERROR) << client.failure();
}

TEST(Failures, OfNamesAndConnectionsAreToldApart) {
    Client nobody(closed_port());
    EXPECT_EQ(nobody.get(u"/"), Client::kUntouched);
    EXPECT_EQ(nobody.failure_number(), ERROR_WINHTTP_CANNOT_CONNECT) << nobody.failure();
    Client unknown(80, u"nowhere.test");
    EXPECT_EQ(unknown.get(u"/"), Client::kUntouched);
    EXPECT_EQ(unknown.failure_number(), ERROR_WINHTTP_NAME_NOT_RESOLVED) << unknown.failure();
}

TEST(Failures, AreForgottenByTheNextRequest) {
    ScriptedServer server([](Peer& peer) {
        peer.read_head();
        peer.write("HTTP/1.1 204 No Content\r\n\r\n");
    });
    Client client(closed_port());
    client.get(u"/");
    EXPECT_NE(client.failure(), "");
    client.Initialize(u"a", u"local.test", server.port(), false, true, false, false, false, false,
                      false);
    EXPECT_EQ(client.get(u"/"), 204);
    EXPECT_EQ(client.failure(), "");
}

TEST(Failures, ToLookUpANameInTimeEndAtTheTimeOut) {
    StuckName name;
    Client client(80, u"stuck.test");
    EXPECT_GE(time_to_give_up(client), 150);
}

TEST(Failures, ToConnectInTimeEndAtTheTimeOut) {
    const DeafPort nobody;
    Client client(nobody.port());
    EXPECT_GE(time_to_give_up(client), 150);
}

TEST(Failures, ToShakeHandsInTimeEndAtTheTimeOut) {
    ScriptedServer server([](Peer& peer) { peer.wait_for_end(); });
    Client client(server.port());
    time_to_give_up(client, true);
}

TEST(Failures, OfAProxyThatTalksWithoutEndComeToAnEnd) {
    Client client(0);
    std::atomic<bool> cancelling{false};
    ScriptedServer proxy([&](Peer& peer) {
        peer.read_head();
        peer.write("HTTP/1.1 407 No\r\nContent-Length: 10000000\r\n\r\n");
        if (cancelling) client.Cancel_Operations();
        for (int i = 0; i < 100 && peer.write(std::string(100'000, 'x')); ++i) {
        }
    });
    setenv("https_proxy", ("http://127.0.0.1:" + std::to_string(proxy.port())).c_str(), 1);
    unsetenv("no_proxy");
    client.Initialize(u"a", u"far.test", 443, true, false, false, false, false, false, false);
    time_to_give_up(client, true);
    client.Set_Time_Outs(5000, 5000, 5000, 5000);
    cancelling = true;
    EXPECT_LT(milliseconds_of([&] { client.get(u"/", true); }), 1000);
    EXPECT_EQ(client.result, ERROR_CANCELLED);
    unsetenv("https_proxy");
}

TEST(Failures, ToSendInTimeEndAtTheTimeOut) {
    std::promise<void> over;
    const std::shared_future<void> end = over.get_future();
    ScriptedServer server([=](Peer&) { end.wait(); });  // reads nothing
    Client client(server.port());
    const std::string data(30'000'000, 'd');
    client.Set_Post_Data(data.data(), data.size());
    client.Set_Time_Outs(50, 50, 50, 50);
    EXPECT_EQ(client.send(u"/", u"POST", false, nullptr), Client::kUntouched);
    EXPECT_EQ(client.result, 0);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_TIMEOUT) << client.failure();
    over.set_value();
}

TEST(Failures, OfAServerThatOnlyAnnouncesComeToAnEnd) {
    ScriptedServer server([](Peer& peer) {
        peer.read_head();
        while (peer.write("HTTP/1.1 100 Continue\r\n\r\n")) {
        }
    });
    Client client(server.port());
    EXPECT_EQ(client.get(u"/"), 0);
    EXPECT_NE(client.failure(), "");
}

TEST(Failures, ToAnswerInTimeAreNotSuccess) {
    for (const int lines : {0, 100}) {  // of a head that goes on, slowly
        ScriptedServer server([=](Peer& peer) {
            peer.read_head();
            for (int i = 0; i < lines && peer.write(i == 0 ? "HTTP/1.1 200 OK\r\n" : "X: y\r\n");
                 ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            peer.wait_for_end();
        });
        Client client(server.port());
        time_to_give_up(client, false, 0);
        EXPECT_EQ(server.connections(), 1);
    }
}

TEST(Failures, DoNotComeFromTimeOutsOfDays) {
    ScriptedServer server([](Peer& peer) {
        peer.read_head();
        std::this_thread::sleep_for(std::chrono::milliseconds(400));  // longer than for connecting
        peer.write("HTTP/1.1 204 No Content\r\n\r\n");
    });
    Client client(server.port());
    client.Set_Time_Outs(100, 100, INT_MAX, INT_MAX);
    EXPECT_EQ(client.get(u"/"), 204) << client.failure();
}

TEST(Failures, DoNotComeFromAReaderWhoTakesTime) {
    ScriptedServer server([](Peer& peer) {
        peer.read_head();
        peer.write("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
        peer.write(std::string(1000000, 'x'));
    });
    Client client(server.port());
    client.Set_Time_Outs(100, 100, 100, 100);
    ASSERT_EQ(client.get(u"/"), 200);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // longer than the time-out
    EXPECT_EQ(client.body().size(), 1000000U);
    EXPECT_EQ(client.failure(), "");
}

TARNWILLOW_CHILD(without_transfers) {
    const LogCollector log;
    Client client(80);
    std::printf("%ld %s|%s\n", client.result, client.failure().c_str(),
                narrowed(log.texts()).c_str());
    return client.Connect(u"/", u"GET", false, nullptr, nullptr) == ERROR_INVALID_HANDLE ? 0 : 1;
}

TEST(Failures, OfAMissingTransferLibraryAreTold) {
    const TemporaryFolder folder;
    write_file(folder.file("libcurl.so.4"), "no library");
    setenv("LD_LIBRARY_PATH", folder.path().c_str(), 1);
    const ChildResult child = run_child("without_transfers");
    unsetenv("LD_LIBRARY_PATH");
    EXPECT_EQ(child.exit_code, 0) << child.output;
    const std::string start = "126 126: " + folder.file("libcurl.so.4") + ": ";
    EXPECT_EQ(child.output.substr(0, start.size()), start);
    EXPECT_NE(child.output.find("|HTTP: a request failed with 126: "), std::string::npos)
        << child.output;
}

namespace {

/// A client as a derived class would use the hook.
class Hooked : public Client {
public:
    using Client::Client;

    /// One step, told with the context that each request has.
    void tell(unsigned long status) {
        CHTTPConnection* const self = this;
        Status_Callback(kHandle, reinterpret_cast<unsigned long>(self), status, &status, 4);
    }
    void listen() {
        status_forward = [](HINTERNET handle, unsigned long context, unsigned long status,
                            void* information, unsigned long length) {
            auto* const connection = reinterpret_cast<CHTTPConnection*>(context);
            auto& told = static_cast<Hooked*>(connection)->told;
            if (handle == kHandle && length == 4 &&
                *static_cast<unsigned long*>(information) == status)
                told.push_back(status);
        };
    }
    static void tell_nobody() { Status_Callback(kHandle, 0, 1, nullptr, 0); }

    std::vector<unsigned long> told;

private:
    static inline const auto kHandle = reinterpret_cast<HINTERNET>(0x77);
};

}  // namespace

TEST(StatusHook, PassesStepsOnUntilARequestFails) {
    Hooked client(closed_port());
    client.tell(1);
    Hooked::tell_nobody();
    client.listen();
    const std::vector<unsigned long> steps = {1, 0x4000, 0x400000, 12345};
    for (const unsigned long step : steps)
        client.tell(step);
    EXPECT_EQ(client.told, steps) << "not those before anybody listened";
    client.get(u"/");
    client.tell(1);
    EXPECT_EQ(client.told, steps);
}

namespace {

/// A whole request; false if it failed anywhere.
bool posts_and_reads(unsigned short port) {
    Client client(port);
    char16_t const* const headers[] = {u"X-Long: a line that no small text has room for", nullptr};
    if (client.Set_Post_Data("data", 4) != 0) return false;
    const bool answered =
        client.send(u"a/path/that/no/small/text/has/room/for", u"POST", false, headers) == 302;
    char bytes[100];
    return answered && client.Read_Next_Chunk(bytes, 100, nullptr) == 4 &&
           Client(client).Get_Redirect_URL(reinterpret_cast<char16_t*>(bytes), 10) == 0;
}

}  // namespace

TEST(Failures, ForWantOfMemoryDoNoHarm) {
    ScriptedServer server([](Peer& peer) {
        peer.read_head();
        peer.write("HTTP/1.1 302 F\r\nLocation: /x\r\nContent-Length: 4\r\n\r\nbody");
    });
    bool refused = true;
    for (std::size_t successes = 0; refused; ++successes) {
        const FailingAllocator failing(successes);
        bool done = false;
        try {
            done = posts_and_reads(server.port());
        } catch (long thrown) {
            EXPECT_EQ(thrown, E_OUTOFMEMORY);
        }
        refused = failing.refused() != 0;
        EXPECT_TRUE(done || refused);
        ASSERT_LT(successes, 500U);
    }
}

TEST(Failures, OfBadPointersAreTold) {
    Client client(closed_port());
    EXPECT_EQ(client.Set_Post_Data(nullptr, 5), E_INVALIDARG);
    EXPECT_EQ(client.Set_Post_Data("x", 1UL << 32), E_INVALIDARG);
    EXPECT_EQ(client.Set_Certification_Store_Name(nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(client.Initialize(u"a", nullptr, 80, false, true, false, false, false, false, false),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(client.Initialize(nullptr, u"h", 80, false, true, false, false, false, false, false),
              0);
}

}  // namespace tarnwillow::test
