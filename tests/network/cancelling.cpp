// Cancelling from another thread, in each step in which an operation can be blocked.
#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <chrono>
#include <future>
#include <optional>
#include <thread>

#include "network/authority.h"
#include "network/client.h"
#include "network/loopback.h"
#include "network/names.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/platform/httpAuthorities.h"

namespace tarnwillow::test {

namespace {

using Clock = std::chrono::steady_clock;

/// Cancels once `when` is ready and gives the milliseconds from then to the end of `work`.
template <class Wait, class Work>
long cancel_during(Client& client, Wait wait, Work work) {
    auto cancelled_at = std::async(std::launch::async, [&] {
        wait();
        const auto now = Clock::now();
        client.Cancel_Operations();
        return now;
    });
    work();
    const auto end = Clock::now();
    return std::chrono::duration_cast<std::chrono::milliseconds>(end - cancelled_at.get()).count();
}

/// Where nothing tells that an operation waits, it gets time to begin.
void begin_to_wait() { std::this_thread::sleep_for(std::chrono::milliseconds(50)); }

/// Milliseconds; what a sanitizer adds is not the library's.
constexpr long kAtOnce = address_checks() ? 2000 : 100;

/// A server that says something and then nothing more.
class Cancelling : public testing::Test {
protected:
    auto until_asked() {
        return [this] { asked.get_future().wait(); };
    }

    bool hangs = false;  // reads nothing more
    std::string answer;
    std::promise<void> asked;
    std::promise<void> released;
    ScriptedServer server{[this](Peer& peer) {
        peer.read_head();
        peer.write(answer);
        asked.set_value();
        if (!hangs) peer.wait_for_end();
        if (hangs) released.get_future().wait();
    }};
    Client client{server.port()};
};

}  // namespace

TEST_F(Cancelling, BeforehandLetsNothingOut) {
    client.Cancel_Operations();
    EXPECT_EQ(client.get(u"/"), Client::kUntouched);
    EXPECT_EQ(client.result, ERROR_CANCELLED);
    char byte = 0;
    bool more = true;
    EXPECT_EQ(client.Read_Next_Chunk(&byte, 1, &more), 0);
    EXPECT_FALSE(more);
    EXPECT_EQ(client.failure_number(), ERROR_CANCELLED);
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(Cancelling, EndsTheSecureHandshake) {
    ScriptedServer silent([&](Peer& peer) {
        peer.read_body(1);
        asked.set_value();
        peer.wait_for_end();
    });
    Client other(silent.port());
    EXPECT_LT(cancel_during(other, until_asked(), [&] { other.get(u"/", true); }), kAtOnce);
    EXPECT_EQ(other.result, ERROR_CANCELLED);
}

namespace {

/// Shakes hands, and gives so many session tickets as they go over the connection.
std::string shake_hands_for_tickets(const Peer& peer, const std::string& identity, int count) {
    const std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    SSL_CTX_use_certificate_file(context.get(), identity.c_str(), SSL_FILETYPE_PEM);
    SSL_CTX_use_PrivateKey_file(context.get(), identity.c_str(), SSL_FILETYPE_PEM);
    const std::shared_ptr<SSL> ssl(SSL_new(context.get()), SSL_free);
    SSL_set_fd(ssl.get(), peer.descriptor());
    if (SSL_accept(ssl.get()) != 1) return {};
    BIO* const tickets = BIO_new(BIO_s_mem());
    SSL_set0_wbio(ssl.get(), tickets);
    for (int i = 0; i < count && SSL_new_session_ticket(ssl.get()) == 1; ++i)
        SSL_do_handshake(ssl.get());
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(tickets, &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

}  // namespace

TEST_F(Cancelling, EndsAFloodOfSessionTickets) {
    const TemporaryFolder folder;
    const std::string identity = folder.file("server.pem");
    write_file(identity, Authority("Servers").issue({"server", "IP:127.0.0.1"}));
    ScriptedServer flooding([&](Peer& peer) {
        const std::string tickets = shake_hands_for_tickets(peer, identity, 100'000);
        if (tickets.empty()) return;  // the authority was not accepted yet
        peer.write(tickets.substr(0, tickets.size() / 2));
        asked.set_value();
        peer.write(tickets.substr(tickets.size() / 2));
        peer.wait_for_end();
    });
    Client other(flooding.port(), u"127.0.0.1", true);
    EXPECT_LT(cancel_during(other, until_asked(), [&] { other.get(u"/", true); }), kAtOnce);
    EXPECT_EQ(other.result, ERROR_CANCELLED);
}

TEST_F(Cancelling, EndsTheWaitForAnAnswer) {
    EXPECT_LT(cancel_during(client, until_asked(), [&] { client.get(u"/"); }), kAtOnce);
    EXPECT_EQ(client.result, ERROR_CANCELLED);
    EXPECT_EQ(client.failure_number(), ERROR_CANCELLED);
}

TEST_F(Cancelling, EndsAnUploadThatNobodyReads) {
    hangs = true;
    const std::string data(30'000'000, 'd');
    client.Set_Post_Data(data.data(), data.size());
    const auto upload = [&] { client.send(u"/", u"POST", false, nullptr); };
    EXPECT_LT(cancel_during(client, until_asked(), upload), kAtOnce);
    EXPECT_EQ(client.result, ERROR_CANCELLED);
    released.set_value();
}

TEST_F(Cancelling, EndsAReadInMidBody) {
    answer = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf";
    ASSERT_EQ(client.get(u"/"), 200);
    std::string body;
    EXPECT_LT(cancel_during(client, until_asked(), [&] { body = client.body(); }), kAtOnce);
    EXPECT_TRUE(body.empty() || body == "half");
    EXPECT_EQ(client.failure_number(), ERROR_CANCELLED);
}

TEST_F(Cancelling, EndsTheReadOfACopy) {
    answer = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf";
    ASSERT_EQ(client.get(u"/"), 200);
    Client copy(client);
    EXPECT_LT(cancel_during(copy, begin_to_wait, [&] { copy.body(); }), kAtOnce);
    char byte = 0;
    EXPECT_EQ(client.Read_Next_Chunk(&byte, 1, nullptr), 0) << "what both share has ended";
}

TEST_F(Cancelling, EndsTheLookUpOfAName) {
    StuckName name;
    Client other(80, u"stuck.test");
    EXPECT_LT(cancel_during(
                  other, [&] { name.wait_for_question(); }, [&] { other.get(u"/"); }),
              kAtOnce);
    EXPECT_EQ(other.result, ERROR_CANCELLED);
}

TEST_F(Cancelling, EndsTheAttemptToConnect) {
    const DeafPort nobody;
    Client other(nobody.port());
    EXPECT_LT(cancel_during(other, begin_to_wait, [&] { other.get(u"/"); }), kAtOnce);
    EXPECT_EQ(other.result, ERROR_CANCELLED);
}

TEST_F(Cancelling, EndsTheReadingOfAuthorities) {
    const TemporaryFolder folder;
    const std::string one = Authority("Many").certificate();
    std::string many;
    for (int i = 0; i < 20'000; ++i)
        many += one;
    write_file(folder.file("many.pem"), many);
    platform::HttpCancellation cancellation;
    platform::Authorities read;
    auto reading = std::async(std::launch::async, [&] {
        read = platform::authorities_of(folder.file("many.pem").c_str(), cancellation);
        return Clock::now();
    });
    const auto cancelled_at = Clock::now();
    cancellation.cancel();
    const auto took = reading.get() - cancelled_at;
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(took).count(), kAtOnce);
    EXPECT_EQ(read, nullptr);
}

TEST_F(Cancelling, EndsTheAttempts) {
    std::optional<Client> other;  // outlives the server, whose thread cancels it
    int connections = 0;
    ScriptedServer refusing([&](Peer&) {
        if (++connections == 3) other->Cancel_Operations();
    });
    other.emplace(refusing.port());
    EXPECT_EQ(other->get(u"/", true), Client::kUntouched);
    EXPECT_EQ(other->result, ERROR_CANCELLED);
    EXPECT_EQ(other->failure_number(), ERROR_CANCELLED);
    EXPECT_LE(refusing.connections(), 4);
}

}  // namespace tarnwillow::test
