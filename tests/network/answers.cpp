// Answers of real servers, from their head to the last byte of the body.
#include <gtest/gtest.h>

#include <future>

#include "network/client.h"
#include "network/loopback.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/text/CSmartBuffer.h"
#include "tarnwillow/xml/CXMLParser.h"

namespace tarnwillow::test {

namespace {

constexpr char kRedirects[] = R"(
    location = /old { return 302 http://elsewhere.test/new?a=b; }
    location = /moved { return 301 /relative; }
    location = /choice { return 300 /other; }
)";

class Answers : public testing::Test {
protected:
    TemporaryFolder folder;
};

std::u16string redirect_of(const Client& client, int capacity, long* result) {
    std::u16string out(static_cast<std::size_t>(capacity) + 1, u'?');
    *result = client.Get_Redirect_URL(out.data(), capacity);
    return out.c_str();
}

}  // namespace

TEST_F(Answers, LeadFromAServerToOneValue) {
    write_file(folder.file("menu.xml"), "<menu title='Lunch'><dish price='4'>soup</dish></menu>");
    const Nginx server(folder.path(), "");
    Client client(server.port());
    ASSERT_EQ(client.get(u"menu.xml"), 200) << client.failure();
    EXPECT_EQ(client.Get_Content_Length(), 54);
    CSmartBuffer buffer;
    CHTTPConnection* const connection = &client;
    ASSERT_EQ(buffer.Initialize_From_Callback(0, CHTTPConnection::SmartBufferInitProc,
                                              reinterpret_cast<long>(connection)),
              0);
    ASSERT_EQ(buffer.Convert_To_Unicode(), 0);
    buffer.Move_To(0UL);
    CXMLParser* parser = nullptr;
    ASSERT_EQ(buffer.Create_XML_Parser(&parser), 0);
    const std::unique_ptr<CXMLParser> owner(parser);
    char16_t price[512] = {};
    int room = 511;
    parser->Move_To_Child(u"menu");
    parser->Move_To_Child(u"dish");
    parser->Get_Current_Node_Attribute(u"price", price, &room);
    EXPECT_EQ(std::u16string(price), u"4");
}

TEST_F(Answers, OfEveryStatusAreASuccess) {
    write_file(folder.file("here"), "x");
    const Nginx server(folder.path(), "location = /wrong { return 500; }");
    Client client(server.port());
    for (const auto& [path, status] :
         {std::pair{u"/here", 200}, {u"/there", 404}, {u"wrong", 500}, {u"here", 200}}) {
        EXPECT_EQ(client.get(path), status);
        EXPECT_EQ(client.result, 0);
        EXPECT_EQ(client.failure(), "");
    }
    EXPECT_EQ(client.body(), "x");
    EXPECT_EQ(client.send(u"here", u"head", false, nullptr), 200);
    EXPECT_EQ(client.body(), "");
}

TEST_F(Answers, TellWhereARedirectLeads) {
    const Nginx server(folder.path(), kRedirects);
    Client client(server.port());
    long result = 0;
    EXPECT_EQ(client.get(u"choice"), 300);
    redirect_of(client, 100, &result);
    EXPECT_EQ(result, E_UNEXPECTED);
    EXPECT_EQ(client.get(u"old"), 302);
    constexpr std::u16string_view kTarget = u"http://elsewhere.test/new?a=b";
    EXPECT_EQ(redirect_of(client, kTarget.size(), &result), kTarget);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(redirect_of(client, kTarget.size() - 1, &result)[0], u'?');
    EXPECT_EQ(result, ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(client.get(u"none"), 404);
    EXPECT_EQ(redirect_of(client, 100, &result), kTarget) << "stays until the next redirect";
    EXPECT_EQ(client.get(u"moved"), 301);
    EXPECT_NE(redirect_of(client, 100, &result).find(u"/relative"), std::u16string::npos);
}

TEST_F(Answers, TellTheFirstStatusAndTheFirstTargetThatFits) {
    std::string lines;
    ScriptedServer server([&](Peer& peer) {
        peer.read_head();
        peer.write("HTTP/1.1 302 F\r\n" + lines + "Content-Length: 0\r\nConnection: close\r\n\r\n");
    });
    const std::string longest(2047, 'l');
    for (const auto& [head, target] :
         {std::pair<std::string, std::string>{"HTTP/9: 404\r\nLocation: /a\r\nLocation: /b", "/a"},
          {"Location: " + longest, longest},
          {"Location: l" + longest, ""},
          {"X: y", ""}}) {
        lines = head + "\r\n";
        Client client(server.port());
        EXPECT_EQ(client.get(u"/"), 302) << client.failure();
        long result = 0;
        const std::u16string told = redirect_of(client, 2047, &result);
        EXPECT_EQ(result == 0 ? narrowed(told) : "", target);
    }
}

TEST_F(Answers, ArriveWholeWhateverTheirSize) {
    const Nginx server(folder.path(), "");
    Client client(server.port());
    for (const std::size_t size :
         {0UL, 1UL, 20479UL, 20480UL, 20481UL, 65536UL, 98304UL, 3000001UL}) {
        const std::string body = made_of(size);
        write_file(folder.file("body"), body);
        ASSERT_EQ(client.get(u"body"), 200);
        EXPECT_TRUE(client.body() == body) << size;
        EXPECT_EQ(client.failure(), "");
    }
}

TEST_F(Answers, AreReadInPiecesOfAnySize) {
    const std::string body = made_of(300000);
    write_file(folder.file("body"), body);
    const Nginx server(folder.path(), "");
    Client client(server.port());
    ASSERT_EQ(client.get(u"body"), 200);
    EXPECT_TRUE(read_in_pieces(client) == body);
    char piece[10];
    bool more = true;
    EXPECT_EQ(client.Read_Next_Chunk(piece, 10, &more), 0);
    EXPECT_FALSE(more);
}

TEST_F(Answers, OfASlowServerArriveWhole) {
    std::promise<void> read_one;
    std::future<void> was_read = read_one.get_future();
    ScriptedServer server([&](Peer& peer) {
        peer.read_head();
        peer.write(
            "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
        peer.write("3\r\none\r\n");
        was_read.wait();
        peer.write("5\r\n, tw");
        peer.write("o\r\n0\r\n");
        peer.write("X-Trailer: t\r\n\r\n");
    });
    Client client(server.port());
    ASSERT_EQ(client.get(u"/"), 200);
    EXPECT_EQ(client.Get_Content_Length(), -1);
    char piece[100];
    std::string whole(piece, static_cast<std::size_t>(client.Read_Next_Chunk(piece, 100, nullptr)));
    EXPECT_EQ(whole, "one");
    auto release = std::async(std::launch::async, [&] { read_one.set_value(); });
    EXPECT_EQ(client.body(), ", two") << "waits for what has not come yet";
    EXPECT_EQ(client.failure(), "");
}

TEST_F(Answers, ThatEndOrStallInMidBodyGiveWhatCameAndSaySo) {
    for (const long error : {ERROR_WINHTTP_CONNECTION_ERROR, ERROR_WINHTTP_TIMEOUT}) {
        ScriptedServer server([=](Peer& peer) {
            peer.read_head();
            peer.write("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
            if (error == ERROR_WINHTTP_TIMEOUT) peer.wait_for_end();
        });
        Client client(server.port());
        client.Set_Time_Outs(200, 200, 200, 200);
        ASSERT_EQ(client.get(u"/"), 200);
        EXPECT_EQ(client.body(), "half");
        EXPECT_EQ(client.failure_number(), error) << client.failure();
    }
}

TEST_F(Answers, ThatNeverComeLeaveAStatusOfZeroAndAreNotAskedForAgain) {
    ScriptedServer server([](Peer& peer) { peer.read_head(); });
    Client client(server.port());
    EXPECT_EQ(client.send(u"/", u"POST", false, nullptr), 0);
    EXPECT_EQ(client.result, 0);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_CONNECTION_ERROR) << client.failure();
    EXPECT_EQ(server.connections(), 1);
}

TEST_F(Answers, OfNoSenseAreToldFromLostConnections) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    std::string headers = ok;
    while (headers.size() < 300000)
        headers += "X: y\r\n";
    for (const std::string& head :
         {std::string("SSH-2.0-x\r\n\r\n"), ok + "Server: x", "HTTP/" + ok,
          ok + std::string(300000, 'x') + ": y\r\n\r\n", headers + "\r\n",
          ok + "transfer-encoding: gzip \r\n\r\n", ok + "Transfer-Encoding: gzip, chunked\r\n\r\n",
          std::string("HTTP/1.1 101 Switching Protocols\r\n\r\n")}) {
        ScriptedServer server([&](Peer& peer) {
            peer.read_head();
            peer.write(head);
            if (head.substr(head.size() - 4) == "\r\n\r\n") peer.wait_for_end();
        });
        Client client(server.port());
        EXPECT_EQ(client.get(u"/"), 0);
        EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_INVALID_SERVER_RESPONSE)
            << client.failure();
    }
}

TEST_F(Answers, ComeOverIPv6) {
    write_file(folder.file("six"), "6");
    const Nginx server(folder.path(), "", false, "::1");
    if (!server.open()) GTEST_SKIP() << "no IPv6 here";
    for (const char16_t* host : {u"::1", u"[::1]"}) {
        Client client(server.port(), host);
        EXPECT_EQ(client.get(u"six"), 200) << client.failure();
        EXPECT_EQ(client.body(), "6");
    }
}

TEST_F(Answers, DecideWhetherAUrlIsAvailable) {
    const std::string address = "127.80.81.82";
    std::string answer = "200 OK";
    ScriptedServer server(
        [&](Peer& peer) {
            peer.read_head();
            peer.write("HTTP/1.1 " + answer + "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        },
        address, 80);
    if (!server.open()) GTEST_SKIP() << "port 80 is not to be had";
    setenv("no_proxy", "*", 1);
    const std::u16string url = u"https://" + widened(address) + u":9/x";
    EXPECT_TRUE(Test_URL_Availabilty(url.c_str())) << "port and scheme do not count";
    for (const char* other : {"302 Found", "404 Not Found", "204 No Content"}) {
        answer = other;
        EXPECT_FALSE(Test_URL_Availabilty(url.c_str()));
    }
    const int asked = server.connections();
    EXPECT_FALSE(Test_URL_Availabilty(u"gopher://127.80.81.82/"));
    EXPECT_FALSE(Test_URL_Availabilty(nullptr));
    EXPECT_EQ(server.connections(), asked);
}

}  // namespace tarnwillow::test
