// The built program on documents of a real web server.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "cli/program.h"
#include "network/loopback.h"
#include "support/temporaryFolder.h"

namespace tarnwillow::test {

namespace {

class WebCommands : public testing::Test {
protected:
    WebCommands() {
        setenv("no_proxy", "*", 1);
        write_file(folder.file("menu.xml"), "<menu><dish price='4'>soup</dish></menu>");
    }

    int run(const std::string& command, const std::string& path, const std::string& rest = "") {
        const ProgramResult result = run_program(command + " '" + url(path) + "' " + rest);
        output = result.output;
        return result.exit_code;
    }
    std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(server.port()) + path;
    }

    TemporaryFolder folder;
    const Nginx server{folder.path(),
                       "location = /old { return 302 /menu.xml; }"
                       "location = /red { return 302 '/\x1B[31m\xC2\x9B'; }"};
    std::string output;
};

}  // namespace

TEST_F(WebCommands, ReadOneValueOfADocument) {
    EXPECT_EQ(run("xml", "/menu.xml", "menu/dish/@price"), 0);
    EXPECT_EQ(output, "4\n");
    EXPECT_EQ(run("xml", "/menu.xml"), 0);
    EXPECT_EQ(output, "menu\n  dish price=\"4\": soup\n");
}

TEST_F(WebCommands, FetchABodyToAFileOrToTheOutput) {
    const std::string file = folder.file("out");
    EXPECT_EQ(run("fetch", "/menu.xml", "-o '" + file + "'"), 0);
    EXPECT_EQ(output, "status 200\n");
    EXPECT_EQ(read_file(file), read_file(folder.file("menu.xml")));
    EXPECT_EQ(run("fetch", "/menu.xml"), 0);
    EXPECT_EQ(output, "status 200\n" + read_file(file));
}

TEST_F(WebCommands, ShowOnATerminalHowFarTheyAre) {
    if (!has_terminals()) GTEST_SKIP() << "no terminal can be had here";
    std::atomic<bool> shown{false};
    ScriptedServer slow([&](Peer& peer) {
        peer.read_head();
        std::string body(1'000'000, 'x');
        peer.write("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n" + body.substr(0, 400'000));
        std::size_t sent = 400'000;
        for (; !shown && sent < 410'000 && peer.write("x"); ++sent)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        peer.write(body.substr(sent));
    });
    const std::string there = "http://127.0.0.1:" + std::to_string(slow.port()) + "/";
    const ProgramResult result = run_program_on_terminal(
        "fetch " + there + " -o '" + folder.file("out") + "'", [&](const std::string& text) {
            shown = shown || text.find("\r0.4 MB of 1.0 MB, 40 %") != text.npos;
        });
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output.rfind("status 200\r\n", 0), 0U) << result.output;
    EXPECT_TRUE(shown) << result.output;
    EXPECT_EQ(result.output.substr(result.output.rfind('\r')), "\r\033[K") << "and then it goes";
    EXPECT_EQ(read_file(folder.file("out")), std::string(1'000'000, 'x'));
}

TEST_F(WebCommands, TellWhatTheServerSays) {
    EXPECT_EQ(run("fetch", "/old", "-o /dev/null"), 0);
    EXPECT_EQ(output, "status 302\nredirects to " + url("/menu.xml") + "\n");
    EXPECT_EQ(run("fetch", "/red", "-o /dev/null"), 0);
    EXPECT_EQ(output, "status 302\nredirects to " + url("/?[31m?") + "\n");
    EXPECT_EQ(run("xml", "/old"), 1);
    EXPECT_EQ(output, "tarnwillow: " + url("/old") +
                          ": the server answered with status 302, which leads to " +
                          url("/menu.xml") + "\n");
    EXPECT_EQ(run("fetch", "/none", "-o /dev/null"), 1);
    EXPECT_EQ(output, "status 404\n");
    EXPECT_EQ(run("xml", "/none"), 1);
}

TEST_F(WebCommands, TellWhyThereIsNoAnswer) {
    const std::string nobody = "http://127.0.0.1:" + std::to_string(Listener().port()) + "/";
    for (const char* command : {"fetch ", "xml "}) {
        const ProgramResult result = run_program(command + nobody);
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_EQ(result.output.rfind("tarnwillow: " + nobody + ": 12029: ", 0), 0U)
            << result.output;
    }
    EXPECT_EQ(run("fetch", std::string(2100, '/')), 1);
    EXPECT_EQ(run_program("fetch ftp://h/").exit_code, 2);
    EXPECT_EQ(run_program("fetch http://h/ -o").exit_code, 2);
}

TEST_F(WebCommands, TellThatABodyBrokeOff) {
    ScriptedServer breaking([](Peer& peer) {
        peer.read_head();
        peer.write("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n<menu></menu>");
    });
    const std::string there = "http://127.0.0.1:" + std::to_string(breaking.port()) + "/";
    EXPECT_EQ(run_program("fetch -o /dev/null").exit_code, 2);
    for (const std::string& command : {"fetch " + there + " -o /dev/null", "xml " + there}) {
        const ProgramResult result = run_program(command);
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_NE(result.output.find(": 12030: "), std::string::npos) << result.output;
    }
}

}  // namespace tarnwillow::test
