// Data that is posted: it arrives whole, and once.
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "network/client.h"
#include "network/loopback.h"

namespace tarnwillow::test {

namespace {

constexpr std::size_t kSize = 30'000'000;

std::string answer_of(std::size_t size) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" +
           std::string(size, 'a');
}

void set_data(Client& client, char filling) {
    client.Set_Post_Data(std::string(kSize, filling).data(), kSize);
}

long post(Client& client) {
    set_data(client, 'd');
    return client.send(u"/", u"POST", false, nullptr);
}

}  // namespace

// Which the server may be about to close: the request would go out again.
TEST(Posts, TakeNoConnectionThatWasKept) {
    std::promise<std::string> second;
    ScriptedServer server([&](Peer& peer) {
        if (peer.read_head()[0] != 'G') return;
        peer.write(answer_of(0));
        second.set_value(peer.read_head());
    });
    {
        Client client(server.port());
        EXPECT_EQ(client.get(u"/"), 200);
        EXPECT_EQ(client.body(), "");
        client.Set_Time_Outs(100, 100, 100, 100);
        client.send(u"/", u"POST", false, nullptr);
    }
    EXPECT_EQ(second.get_future().get(), "");
}

// A large answer has to be read before the rest of the data can go out.
TEST(Posts, ArriveWholeThoughTheAnswerComesEarlyAndOtherDataIsSet) {
    for (const std::size_t size : {0UL, 1'000'000UL}) {
        std::promise<bool> whole;
        ScriptedServer server([&](Peer& peer) {
            peer.read_head();
            peer.write(answer_of(size));
            whole.set_value(peer.read_body(kSize) == std::string(kSize, 'd'));
        });
        {
            Client client(server.port());
            EXPECT_EQ(post(client), 200) << client.failure();
            set_data(client, 'x');
            if (size != 0) {
                EXPECT_EQ(client.body().size(), size);
            }
        }
        EXPECT_TRUE(whole.get_future().get()) << size;
    }
}

TEST(Posts, ThatAreRefusedLeaveTheAnswerItsTime) {
    ScriptedServer server([](Peer& peer) {
        peer.read_head();
        peer.write("HTTP/1.1 413 Too Large\r\nContent-Length: 4\r\n\r\n");
        std::this_thread::sleep_for(std::chrono::milliseconds(300));  // longer than for sending
        peer.write("late");
        peer.wait_for_end();
    });
    Client client(server.port());
    client.Set_Time_Outs(5000, 5000, 150, 5000);
    EXPECT_EQ(post(client), 413);
    EXPECT_EQ(client.body(), "late") << client.failure();
}

}  // namespace tarnwillow::test
