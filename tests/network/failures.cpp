// What fails, how often it is tried, and what is told of it.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>

#include "network/client.h"
#include "network/loopback.h"
#include "network/names.h"
#include "support/logCollector.h"

namespace tarnwillow::test {

namespace {

using Clock = std::chrono::steady_clock;

template <class Work>
long milliseconds_of(Work work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
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
    client.Set_Time_Outs(50, 50, 50, 50);
    const long time = milliseconds_of([&] { client.get(u"/"); });
    EXPECT_EQ(client.result, 0);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_TIMEOUT) << client.failure();
    EXPECT_GE(time, 150);
    EXPECT_LT(time, 1000) << "all attempts share the time of one";
}

TEST(Failures, ToShakeHandsInTimeEndAtTheTimeOut) {
    ScriptedServer server([](Peer& peer) { peer.wait_for_end(); });
    Client client(server.port());
    client.Set_Time_Outs(50, 50, 50, 50);
    const long time = milliseconds_of([&] { client.get(u"/", true); });
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_TIMEOUT) << client.failure();
    EXPECT_LT(time, 1000);
}

TEST(Failures, ToSendInTimeEndAtTheTimeOut) {
    ScriptedServer server([](Peer& peer) {
        if (!peer.read_head().empty()) peer.write("");
        while (peer.write("HTTP/1.1 100 Continue\r\n\r\n")) {
        }
    });
    Client client(server.port());
    client.Set_Time_Outs(300, 300, 300, 300);
    EXPECT_EQ(client.get(u"/"), 0);
    EXPECT_NE(client.failure(), "") << "announcements without end";
}

TEST(Failures, ToAnswerInTimeAreNotSuccess) {
    ScriptedServer server([](Peer& peer) {
        peer.read_head();
        peer.wait_for_end();
    });
    Client client(server.port());
    client.Set_Time_Outs(50, 50, 50, 50);
    EXPECT_EQ(client.get(u"/"), 0);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_TIMEOUT) << client.failure();
    EXPECT_EQ(server.connections(), 1);
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
