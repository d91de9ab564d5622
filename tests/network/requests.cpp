// Requests as a server sees them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <future>

#include "network/client.h"
#include "network/loopback.h"
#include "support/guardPage.h"

namespace tarnwillow::test {

namespace {

/// Keeps what a client sent, and answers 200.
class Requests : public testing::Test {
protected:
    static std::size_t length_in(const std::string& head) {
        const std::size_t at = head.find("Content-Length: ");
        return at == head.npos ? 0 : std::strtoul(head.c_str() + at + 16, nullptr, 10);
    }

    std::string first_line() const { return head.substr(0, head.find("\r\n")); }
    bool has_line(const std::string& line) const {
        return head.find("\r\n" + line + "\r\n") != head.npos;
    }

    std::string head;
    std::string body;
    ScriptedServer server{[this](Peer& peer) {
        head = peer.read_head();
        body = peer.read_body(length_in(head));
        peer.write("HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    }};
};

}  // namespace

TEST_F(Requests, AskForThePathAsWrittenWithASlash) {
    Client client(server.port());
    EXPECT_EQ(client.get(u"a/../b?x=%20&y#part"), 200);
    EXPECT_EQ(head, "GET /a/../b?x=%20&y HTTP/1.1\r\nHost: 127.0.0.1:" +
                        std::to_string(server.port()) + "\r\nUser-Agent: tests/1.0\r\n\r\n");
    for (const auto& [path, asked] :
         {std::pair<const char16_t*, const char*>{nullptr, "GET / HTTP/1.1"},
          {u"/", "GET / HTTP/1.1"},
          {u"", "GET / HTTP/1.1"},
          {u"\u00FC b\"", "GET /%C3%BC%20b%22 HTTP/1.1"},
          {u"?q", "GET /?q HTTP/1.1"}}) {
        EXPECT_EQ(client.get(path), 200);
        EXPECT_EQ(first_line(), asked);
    }
}

TEST_F(Requests, PostTheirDataAndHeaders) {
    Client client(server.port());
    const std::string data("data\0with zero", 14);
    EXPECT_EQ(client.Set_Post_Data(data.data(), data.size()), 0);
    char16_t const* const headers[] = {u"X-First: 1", u"Content-Type: text/plain", u"X-Empty:",
                                       nullptr};
    for (const char16_t* verb : {u"POST", u"post"}) {
        EXPECT_EQ(client.send(u"x", verb, false, headers), 200);
        EXPECT_EQ(first_line(), "POST /x HTTP/1.1");
        EXPECT_EQ(body, data);
        EXPECT_TRUE(has_line("X-First: 1") && has_line("Content-Type: text/plain"));
        EXPECT_TRUE(has_line("X-Empty:")) << head;
    }
    EXPECT_EQ(client.send(u"x", u"GET", false, headers), 200);
    EXPECT_EQ(head.find("X-First"), head.npos) << "other verbs send no headers";
    EXPECT_EQ(body, "");
}

TEST_F(Requests, PostWithoutHeadersAndData) {
    Client client(server.port());
    EXPECT_EQ(client.send(u"x", u"POST", false, nullptr), 200);
    EXPECT_TRUE(has_line("Content-Length: 0")) << head;
    const std::string large(5'000'000, 'p');
    client.Set_Post_Data(large.data(), large.size());
    EXPECT_EQ(client.send(u"x", u"POST", false, nullptr), 200);
    EXPECT_TRUE(body == large);
    EXPECT_EQ(head.find("Content-Type"), head.npos);
    EXPECT_EQ(head.find("Expect"), head.npos);
}

TEST_F(Requests, AreRefusedIfATextCouldNotStandInThem) {
    Client client(server.port());
    for (const char16_t* path : {u"a\r\nX: y", u"a\nb"})
        EXPECT_EQ(client.Connect(path, u"GET", false, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    for (const char16_t* verb : {u"GET\r\n", u"G T", u""})
        EXPECT_EQ(client.Connect(u"a", verb, false, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    for (const char16_t* line :
         {u"X: y\r\nZ: z", u"X: y\n", u"no colon", u": no name", u"X Y: z"}) {
        char16_t const* const headers[] = {line, nullptr};
        client.result = 0;
        EXPECT_EQ(client.send(u"a", u"POST", false, headers), Client::kUntouched);
        EXPECT_EQ(client.result, ERROR_INVALID_PARAMETER);
    }
    for (const char16_t* host : {u"", u"h\r\nX: y", u"user@h", u"h/x", u"h?x", u"h x"}) {
        Client other(server.port(), host);
        EXPECT_EQ(other.get(u"/"), Client::kUntouched);
        EXPECT_EQ(other.result, ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(Requests, KnowTheRoomForTexts) {
    CHTTPConnection connection;
    const auto open = [&](std::size_t agent, std::size_t host) {
        return connection.Initialize(std::u16string(agent, u'a').c_str(),
                                     std::u16string(host, u'h').c_str(), 80, false, true, false,
                                     false, false, false, false);
    };
    EXPECT_EQ(open(256, 1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(open(1, 256), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(open(255, 255), 0);
    const auto connect = [&](std::size_t length) {
        const TextAtGuardPage<char16_t> path(std::u16string(length, u'p'));
        return connection.Connect(path.text(), u"GET", false, nullptr, nullptr);
    };
    EXPECT_EQ(connect(2047), 0);
    EXPECT_EQ(connect(2048), ERROR_INVALID_PARAMETER);
    Client client(server.port());
    std::vector<const char16_t*> headers(256, u"X: y");
    headers.push_back(nullptr);
    EXPECT_EQ(client.send(u"a", u"POST", false, headers.data()), 200);
    headers.insert(headers.begin(), u"X: y");
    EXPECT_EQ(client.send(u"a", u"POST", false, headers.data()), Client::kUntouched);
    EXPECT_EQ(client.result, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(connection.Set_Certification_Store_Name(std::string(31, 's').c_str()), 0);
    EXPECT_EQ(connection.Set_Certification_Store_Name(std::string(32, 's').c_str()),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(connection.Set_Certificate_Issuer_Unit(std::string(255, 'u').c_str()), 0);
    EXPECT_EQ(connection.Set_Certificate_Issuer_Unit(std::string(256, 'u').c_str()),
              ERROR_INVALID_PARAMETER);
}

TEST_F(Requests, NeedASessionAndAreNeededToSend) {
    CHTTPConnection connection;
    EXPECT_EQ(connection.Connect(u"/", u"GET", false, nullptr, nullptr), ERROR_INVALID_HANDLE);
    long status = 5;
    EXPECT_EQ(connection.Send_Request(&status, nullptr), 0);
    EXPECT_EQ(status, 5);
    EXPECT_NE(connection.Get_Last_Failure()[0], 0);
    char byte = 0;
    bool more = true;
    EXPECT_EQ(connection.Read_Next_Chunk(&byte, 1, &more), 0);
    EXPECT_FALSE(more);
}

TEST_F(Requests, MayBeMadeFromCopies) {
    Client client(server.port());
    client.Set_Post_Data("kept", 4);
    {
        Client copy(client);
        EXPECT_EQ(copy.send(u"x", u"POST", false, nullptr), 200);
        EXPECT_EQ(body, "kept");
        copy.Cancel_Operations();
    }
    EXPECT_EQ(client.send(u"y", u"POST", false, nullptr), 200) << "cancelling was the copy's";
    EXPECT_EQ(body, "kept");
}

TEST_F(Requests, OfCopiesMayEndWhileTheOtherIsInUse) {
    std::promise<void> copied;
    ScriptedServer late([&](Peer& peer) {
        const bool first = peer.read_head()[5] == 'a';
        peer.write("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n");
        if (first) copied.get_future().wait();
        peer.write("late");
    });
    Client client(late.port());
    client.Set_Time_Outs(1000, 1000, 1000, 1000);
    ASSERT_EQ(client.get(u"a"), 200);
    Client copy(client);
    copied.set_value();
    EXPECT_EQ(copy.get(u"b"), 200);
    EXPECT_EQ(copy.body(), "late");
    EXPECT_EQ(client.body(), "late");
    EXPECT_EQ(client.failure(), "");
}

TEST_F(Requests, GoThroughAProxyUnlessToldOtherwise) {
    setenv("http_proxy", ("http://127.0.0.1:" + std::to_string(server.port())).c_str(), 1);
    unsetenv("no_proxy");
    const auto get = [](bool no_proxy) {
        CHTTPConnection connection;
        long status = Client::kUntouched;
        connection.Initialize(u"a", u"far.test", 8080, false, no_proxy, false, false, false, false,
                              false);
        connection.Connect(u"/doc?x", u"GET", false, nullptr, nullptr);
        connection.Send_Request(&status, nullptr);
        return status;
    };
    EXPECT_EQ(get(false), 200);
    EXPECT_EQ(first_line(), "GET http://far.test:8080/doc?x HTTP/1.1");
    EXPECT_EQ(get(true), Client::kUntouched) << "the name is not known here";
    setenv("no_proxy", "far.test", 1);
    EXPECT_EQ(get(false), Client::kUntouched);
    EXPECT_EQ(server.connections(), 1);
    unsetenv("http_proxy");
    unsetenv("no_proxy");
}

}  // namespace tarnwillow::test
