// Secure requests: authorities, names, dates, and client certificates from a store.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <optional>

#include "network/authority.h"
#include "network/client.h"
#include "network/loopback.h"
#include "network/names.h"
#include "support/logCollector.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/platform/certificates.h"
#include "tarnwillow/platform/httpAuthorities.h"

namespace tarnwillow::test {

namespace {

constexpr char kNames[] = "DNS:local.test,IP:127.0.0.1";

class Security : public testing::Test {
protected:
    Security() {
        setenv("TARNWILLOW_CERTIFICATES", folder.path().c_str(), 1);
        write_file(folder.file("page"), "secret");
        write_file(folder.file("clients.pem"), clients.certificate());
    }
    ~Security() override { unsetenv("TARNWILLOW_CERTIFICATES"); }

    /// Into the folder of a store, readable by its owner alone.
    std::string put(const std::string& store, const std::string& name, const std::string& text) {
        std::filesystem::create_directories(folder.path() / store);
        const std::string file = folder.file(store + "/" + name);
        write_file(file, text);
        chmod(file.c_str(), S_IRUSR | S_IWUSR);
        return file;
    }

    void trust_servers() { put("ROOT", "servers.pem", servers.certificate()); }

    /// Options of a server with that certificate.
    std::vector<std::string> with(const CertificateWish& wish) {
        write_file(folder.file("server.pem"), servers.issue(wish));
        return {"-cert", folder.file("server.pem")};
    }
    std::vector<std::string> with_names() { return with({"server", kNames}); }

    TemporaryFolder folder;
    const Authority servers{"Servers"};
    const Authority clients{"DisOrg"};
};

/// Of a server's block: passes on what is sent to "/behind".
std::string front_of(unsigned short port) {
    return R"(
        ssl_certificate $ROOT/server.pem;
        ssl_certificate_key $ROOT/server.pem;
        client_max_body_size 0;
        location = /behind {
            proxy_request_buffering off;
            proxy_http_version 1.1;
            proxy_pass http://127.0.0.1:)" +
           std::to_string(port) + "; }";
}

std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/// The versions that every case is tried under.
class SecurityOfEach : public Security, public testing::WithParamInterface<const char*> {
protected:
    std::vector<std::string> version() { return {GetParam()}; }
    std::vector<std::string> asking(const char* how) {
        return {how, "1", "-verify_return_error", "-CAfile", folder.file("clients.pem")};
    }
};

INSTANTIATE_TEST_SUITE_P(Tls, SecurityOfEach, testing::Values("-tls1_2", "-tls1_3"),
                         [](const auto& version) { return std::string(version.param + 1); });

}  // namespace

TEST_P(SecurityOfEach, ServesWhomItTrusts) {
    trust_servers();
    const TlsServer server(folder.path(), with_names() + version());
    for (const char16_t* host : {u"127.0.0.1", u"local.test"}) {
        Client client(server.port(), host);
        EXPECT_EQ(client.get(u"page", true), 200) << client.failure();
        EXPECT_EQ(client.body(), "secret");
    }
}

TEST_P(SecurityOfEach, RefusesAnUnknownAuthorityUnlessItIsAccepted) {
    const TlsServer server(folder.path(), with_names() + version());
    Client strict(server.port());
    EXPECT_EQ(strict.get(u"page", true), Client::kUntouched);
    EXPECT_EQ(strict.result, 0);
    EXPECT_EQ(strict.failure_number(), ERROR_WINHTTP_SECURE_INVALID_CA) << strict.failure();
    Client accepting(server.port(), u"127.0.0.1", true);
    EXPECT_EQ(accepting.get(u"page", true), 200) << accepting.failure();
    EXPECT_EQ(accepting.body(), "secret");
}

TEST_P(SecurityOfEach, ShowsACertificateThatIsDemanded) {
    trust_servers();
    put("MY", "own.pem", clients.issue({"client"}));
    for (const char* how : {"-verify", "-Verify"}) {
        const TlsServer server(folder.path(), with_names() + version() + asking(how));
        Client client(server.port());
        EXPECT_EQ(client.get(u"page", true), 200) << client.failure();
        EXPECT_EQ(client.body(), "secret");
    }
}

TEST_P(SecurityOfEach, TellsThatADemandedCertificateIsMissing) {
    trust_servers();
    const TlsServer server(folder.path(), with_names() + version() + asking("-Verify"));
    Client client(server.port());
    EXPECT_EQ(client.get(u"page", true), Client::kUntouched);
    EXPECT_EQ(client.result, ERROR_NOT_FOUND);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED) << client.failure();
}

TEST_P(SecurityOfEach, GoesOnWithoutACertificateThatIsOnlyWanted) {
    trust_servers();
    const TlsServer server(folder.path(), with_names() + version() + asking("-verify"));
    Client client(server.port());
    EXPECT_EQ(client.get(u"page", true), 200) << client.failure();
    EXPECT_EQ(client.body(), "secret");
}

TEST_P(SecurityOfEach, MeetsBothDemandsInOneRequest) {
    put("MY", "own.pem", clients.issue({"client"}));
    const TlsServer server(folder.path(), with_names() + version() + asking("-Verify"));
    Client client(server.port(), u"127.0.0.1", true);
    EXPECT_EQ(client.get(u"page", true), 200) << client.failure();
}

TEST_F(Security, ChecksNamesAndDatesWhateverTheAuthority) {
    const CertificateWish other_name{"127.0.0.1", "DNS:other.test"};
    const CertificateWish expired{"server", kNames, -9, -1};
    const CertificateWish early{"server", kNames, 1, 9};
    for (const bool trusted : {false, true}) {
        if (trusted) trust_servers();
        for (const auto& [wish, error] :
             {std::pair{other_name, ERROR_WINHTTP_SECURE_CERT_CN_INVALID},
              {expired, ERROR_WINHTTP_SECURE_CERT_DATE_INVALID},
              {early, ERROR_WINHTTP_SECURE_CERT_DATE_INVALID}}) {
            const TlsServer server(folder.path(), with(wish));
            Client client(server.port(), u"127.0.0.1", true);
            EXPECT_EQ(client.get(u"page", true), Client::kUntouched);
            EXPECT_EQ(client.failure_number(), error) << client.failure();
        }
    }
}

TEST_F(Security, FlagsLetPassWhatTheyName) {
    const CertificateWish bad{"server", "DNS:other.test", -9, -1};
    const TlsServer server(folder.path(), with(bad));
    constexpr int kAll = static_cast<int>(WINHTTP_FLAG_SECURE | SECURITY_FLAG_IGNORE_UNKNOWN_CA |
                                          SECURITY_FLAG_IGNORE_CERT_CN_INVALID |
                                          SECURITY_FLAG_IGNORE_CERT_DATE_INVALID);
    Client client(server.port());
    client.Set_Security_Flags(kAll);
    EXPECT_EQ(client.get(u"page", true), 200) << client.failure();
    client.Set_Security_Flags(kAll & ~static_cast<int>(SECURITY_FLAG_IGNORE_CERT_DATE_INVALID));
    EXPECT_EQ(client.get(u"page", true), Client::kUntouched);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_SECURE_CERT_DATE_INVALID);
    client.Set_Security_Flags(0);
    EXPECT_EQ(client.get(u"page", true), Client::kUntouched) << "no trust is left from before";
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_SECURE_INVALID_CA);
}

TEST_F(Security, TakesTheFirstCertificateThatWillDo) {
    trust_servers();
    const Authority others("Others");
    put("MY", "a.pem", others.issue({"of-others"}));
    put("MY", "b.pem", clients.issue({"expired", "", -9, -1}));
    put("MY", "c.pem", clients.certificate() + "no key");
    chmod(put("MY", "d.pem", clients.issue({"open-to-others"})).c_str(), 0640);
    put("MY", "e.pem", "no certificate");
    put("MY", "f.txt", clients.issue({"not-pem"}));
    put("MY", "g.pem", clients.issue({"chosen"}));
    put("MY", "h.pem", clients.issue({"later"}));
    const Nginx server(folder.path(), R"(
        ssl_certificate $ROOT/server.pem;
        ssl_certificate_key $ROOT/server.pem;
        ssl_client_certificate $ROOT/clients.pem;
        ssl_verify_client on;
        location = /who { return 200 $ssl_client_s_dn; })",
                       (with_names(), true));
    const LogCollector log;
    Client client(server.port());
    EXPECT_EQ(client.get(u"who", true), 200) << client.failure();
    EXPECT_EQ(client.body(), "CN=chosen");
    const std::string lines = narrowed(log.texts());
    for (const char* skipped :
         {"b.pem is passed over: the certificate is out of date",
          "c.pem is passed over: it has no key", "d.pem is passed over: others may use it too",
          "e.pem is passed over: it has no certificate"})
        EXPECT_NE(lines.find(skipped), lines.npos) << lines;
    EXPECT_EQ(lines.find("a.pem"), lines.npos) << "another issuer's is in order";
}

TEST_F(Security, LooksInTheStoreAndForTheIssuerThatAreNamed) {
    trust_servers();
    const Authority others("Oth\xC3\xA9rs");
    write_file(folder.file("clients.pem"), others.certificate());
    put("Mine", "own.pem", others.issue({"client"}));
    const TlsServer server(
        folder.path(),
        with_names() + std::vector<std::string>{"-Verify", "1", "-verify_return_error", "-CAfile",
                                                folder.file("clients.pem")});
    Client client(server.port());
    EXPECT_EQ(client.Set_Certification_Store_Name("Mine"), 0);
    client.get(u"page", true);
    EXPECT_EQ(client.result, ERROR_NOT_FOUND);
    client.result = client.Set_Certificate_Issuer_Unit("Oth\xC3\xA9rs");
    EXPECT_EQ(client.get(u"page", true), 200) << client.failure();
    for (const char* name : {"", ".", "..", "a/b"}) {
        client.result = client.Set_Certification_Store_Name(name);
        client.get(u"page", true);
        EXPECT_EQ(client.result, ERROR_INVALID_PARAMETER) << name;
    }
}

namespace {

/// A client that goes through a proxy, which alone knows the way to "far.test".
class SecurityThroughAProxy : public SecurityOfEach {
protected:
    SecurityThroughAProxy() {
        setenv("https_proxy", ("http://127.0.0.1:" + std::to_string(proxy.port())).c_str(), 1);
        unsetenv("no_proxy");
    }
    ~SecurityThroughAProxy() override { unsetenv("https_proxy"); }

    void serve(const std::string& names, const std::vector<std::string>& options) {
        server.emplace(folder.path(), with({"far", names}) + version() + options);
    }
    long get(bool accept_unknown_authority = false) {
        client.Initialize(u"tests/1.0", u"far.test", 8443, true, false, false, false, false, false,
                          accept_unknown_authority);
        return client.get(u"page", true);
    }

    std::optional<TlsServer> server;
    std::string asked;
    std::string answer = "200 Connection established";
    ScriptedServer proxy{[this](Peer& peer) {
        asked = peer.read_head();
        peer.write("HTTP/1.1 " + answer + "\r\n\r\n");
        if (answer[0] == '2') peer.tunnel_to(server->port());
    }};
    Client client{0};
};

INSTANTIATE_TEST_SUITE_P(Tls, SecurityThroughAProxy, testing::Values("-tls1_2", "-tls1_3"),
                         [](const auto& version) { return std::string(version.param + 1); });

}  // namespace

TEST_P(SecurityThroughAProxy, IsThatOfTheServerBehind) {
    put("MY", "own.pem", clients.issue({"client"}));
    serve("DNS:far.test", asking("-Verify"));
    EXPECT_EQ(get(), Client::kUntouched);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_SECURE_INVALID_CA) << client.failure();
    EXPECT_EQ(get(true), 200) << client.failure();
    EXPECT_EQ(client.body(), "secret");
    EXPECT_EQ(asked.substr(0, asked.find("\r\n")), "CONNECT far.test:8443 HTTP/1.1");
    EXPECT_EQ(asked.find("page"), asked.npos) << "the proxy learns no more";
}

TEST_P(SecurityThroughAProxy, ChecksNamesAndDemands) {
    trust_servers();
    serve("DNS:other.test", {});
    EXPECT_EQ(get(), Client::kUntouched);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_SECURE_CERT_CN_INVALID) << client.failure();
    serve("DNS:far.test", asking("-Verify"));
    EXPECT_EQ(get(), Client::kUntouched);
    EXPECT_EQ(client.result, ERROR_NOT_FOUND) << "no certificate to show";
}

TEST_P(SecurityThroughAProxy, IsNotHadWhereTheProxyRefuses) {
    answer = "403 Forbidden";
    EXPECT_EQ(get(), Client::kUntouched);
    EXPECT_EQ(client.result, 0);
    EXPECT_NE(client.failure().find("403"), std::string::npos) << client.failure();
}

TEST_F(Security, ACertificateIsFoundForARequestAlone) {
    struct Derived : Client {
        using Client::Client;
        using Client::Set_Client_Certification;
    } client(80);
    put("MY", "own.pem", clients.issue({"client"}));
    EXPECT_EQ(client.Set_Client_Certification(), ERROR_INVALID_HANDLE);
    client.Connect(u"/", u"GET", true, nullptr, nullptr);
    EXPECT_EQ(client.Set_Client_Certification(), 1);
    client.Set_Certificate_Issuer_Unit("nobody");
    EXPECT_EQ(client.Set_Client_Certification(), ERROR_NOT_FOUND);
    client.Cancel_Operations();
    EXPECT_EQ(client.Set_Client_Certification(), ERROR_CANCELLED);
}

TEST_F(Security, StoresLieInTheFolderOfSettingsUnlessToldOtherwise) {
    const auto place = [] {
        std::shared_ptr<platform::CertificateStore> store;
        EXPECT_EQ(platform::CertificateStore::open("MY", &store), 0);
        return std::string(store->folder());
    };
    EXPECT_EQ(place(), folder.file("MY"));
    const std::string before = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "/";
    unsetenv("TARNWILLOW_CERTIFICATES");
    setenv("HOME", "/home/me", 1);
    EXPECT_EQ(place(), "/home/me/.config/tarnwillow/certificates/MY");
    setenv("XDG_CONFIG_HOME", "/config", 1);
    EXPECT_EQ(place(), "/config/tarnwillow/certificates/MY");
    unsetenv("XDG_CONFIG_HOME");
    setenv("HOME", before.c_str(), 1);
}

TEST_F(Security, AuthoritiesOfTheSystemAreReadOnceAndWhenTheyChange) {
    const std::string file = folder.file("system.pem");
    write_file(file, servers.certificate() + "no certificate\n" + clients.certificate() +
                         "-----BEGIN CERTIFICATE-----\nbad\n-----END CERTIFICATE-----\n" +
                         servers.certificate());
    platform::HttpCancellation cancellation;
    const auto read = [&] { return platform::authorities_of(file.c_str(), cancellation); };
    const platform::Authorities first = read();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->size(), 3U);
    EXPECT_EQ(read(), first);
    write_file(file, clients.certificate());
    EXPECT_EQ(read()->size(), 1U);
    cancellation.cancel();
    EXPECT_EQ(read(), nullptr);
    EXPECT_EQ(platform::authorities_of(folder.file("none").c_str(), {}), nullptr);
}

TEST_F(Security, CarriesLargeBodiesBothWays) {
    trust_servers();
    constexpr std::size_t kUp = 30'000'000;
    ScriptedServer behind([](Peer& peer) {
        peer.read_head();
        const bool whole = peer.read_body(kUp) == std::string(kUp, 'u');
        peer.write(whole ? "HTTP/1.1 204 Whole\r\n\r\n" : "HTTP/1.1 400 Broken\r\n\r\n");
    });
    const Nginx server(folder.path(), front_of(behind.port()), (with_names(), true));
    Client client(server.port());
    std::string body = made_of(20'000'000);
    write_file(folder.file("page"), body);
    EXPECT_EQ(client.get(u"page", true), 200) << client.failure();
    EXPECT_TRUE(read_in_pieces(client) == body);
    client.Set_Post_Data(std::string(kUp, 'u').data(), kUp);
    EXPECT_EQ(client.send(u"behind", u"POST", true, nullptr), 204) << client.failure();
}

// A server that asks for a certificate may refuse once the request is out; silence is no refusal.
TEST_F(Security, DoesNotRepeatAPostThatIsNotAnswered) {
    trust_servers();
    ScriptedServer silent([](Peer& peer) {
        peer.read_head();
        peer.wait_for_end();
    });
    const Nginx server(folder.path(),
                       "ssl_client_certificate $ROOT/clients.pem; ssl_verify_client optional;" +
                           front_of(silent.port()),
                       (with_names(), true));
    Client client(server.port());
    client.Set_Time_Outs(2000, 2000, 2000, 200);
    EXPECT_EQ(client.send(u"behind", u"POST", true, nullptr), 0);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_TIMEOUT) << client.failure();
    EXPECT_EQ(silent.connections(), 1);
}

TEST_F(Security, IsNotLostByAServerThatSpeaksPlainly) {
    ScriptedServer server([](Peer& peer) { peer.write("HTTP/1.1 200 OK\r\n\r\n"); });
    Client client(server.port());
    EXPECT_EQ(client.get(u"page", true), Client::kUntouched);
    EXPECT_EQ(client.failure_number(), ERROR_WINHTTP_SECURE_CHANNEL_ERROR) << client.failure();
}

}  // namespace tarnwillow::test
