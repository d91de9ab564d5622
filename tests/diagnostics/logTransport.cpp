// The road of a line from a sender to the message core. A process loads a core once: so whatever
// needs another one than the good stand-in is a process of its own, and prints what it sees.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <thread>
#include <vector>

#include "coreFixture.h"
#include "support/childProcess.h"
#include "support/logCollector.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/diagnostics/logOutput.h"
#include "tarnwillow/diagnostics/messageCoreLoad.h"
#include "tarnwillow/diagnostics/messages.h"
#include "tarnwillow/diagnostics/selfRegistration.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/localTime.h"

namespace tarnwillow {
namespace {

using test::LoadedStandin;

void send(std::string text) { detail::Send_Log_Line_Narrow(3, 77, text.data(), 5); }
void send(std::u16string text) { detail::Send_Log_Line_Wide(3, 77, text.data(), 5); }

class LogTransport : public testing::Test {
protected:
    LogTransport() {
        test::set_core(test::standin("core"));
        const detail::CoreUse load_it;
        EXPECT_TRUE(load_it.ready());
        core = std::make_unique<LoadedStandin>("core");
        core->count() = 0;
        detail::log_halted = false;  // another test of this process may have halted the log
    }

    /// What the last line or broadcast became.
    test::KeptMessage const& last() { return core->message(core->count() - 1); }
    std::string narrow() { return last().record().text.narrow; }
    static std::u16string text(std::uint16_t const* units) {
        return reinterpret_cast<char16_t const*>(units);
    }
    std::u16string wide() { return text(last().record().text.wide); }

    test::TemporaryFolder folder;
    std::unique_ptr<LoadedStandin> core;
};

TEST_F(LogTransport, ALineBecomesARecord) {
    SYSTEMTIME before, after;
    GetLocalTime(&before);
    send("a line");
    GetLocalTime(&after);
    EXPECT_EQ(last().size, 1024);
    EXPECT_EQ(last().code, 0);
    EXPECT_EQ(last().kind, 8371);
    const auto& record = last().record();
    EXPECT_EQ(record.log_class, 3);
    EXPECT_EQ(record.level, 5);
    EXPECT_EQ(record.thread, 77U);
    EXPECT_TRUE(record.time.year == before.wYear || record.time.year == after.wYear);
    EXPECT_TRUE(record.time.second == before.wSecond || record.time.second == after.wSecond);
    EXPECT_EQ(std::string(record.text.narrow, 1000), "a line" + std::string(994, '\0'));
    send(u"wide \u20AC");
    EXPECT_EQ(last().kind, 8372);
    EXPECT_EQ(last().record().log_class, 3);
    EXPECT_EQ(wide(), u"wide \u20AC");
}

TEST_F(LogTransport, LongTextIsCutAtAWholeCharacter) {
    send(std::string(1500, 'x'));
    EXPECT_EQ(narrow(), std::string(999, 'x'));
    send(std::string(999, 'x'));
    EXPECT_EQ(narrow(), std::string(999, 'x'));
    send(std::string(997, 'x') + "\u20AC");
    EXPECT_EQ(narrow(), std::string(997, 'x'));
    send(std::string(996, 'x') + "\u20AC.");
    EXPECT_EQ(narrow(), std::string(996, 'x') + "\u20AC");
    send(std::u16string(500, u'x'));
    EXPECT_EQ(wide(), std::u16string(499, u'x'));
    send(std::u16string(498, u'x') + u"\U0001F333");
    EXPECT_EQ(wide(), std::u16string(498, u'x'));
}

TEST_F(LogTransport, ANamedLineHasItsSourceInThePlaceOfTheClass) {
    const std::u16string source(70, u's'), long_text(500, u't');
    _LOG(source.c_str(), 9, u"%s", long_text.c_str());
    const auto& record = last().record();
    EXPECT_EQ(last().kind, 8372);
    EXPECT_EQ(record.log_class, 0xFFFF);
    EXPECT_EQ(record.level, 9);
    EXPECT_EQ(record.thread, static_cast<std::uint32_t>(gettid()));
    EXPECT_EQ(text(record.text.named.source), std::u16string(63, u's'));
    EXPECT_EQ(text(record.text.named.text), std::u16string(435, u't'));
}

std::u16string debug_output;

TEST_F(LogTransport, ABadTextCostsTheLineAndIsToldToTheDeveloper) {
    const auto before = Set_Debug_Output_Hook([](char16_t const* text) { debug_output = text; });
    detail::Send_Log_Line_Narrow(3, 77, reinterpret_cast<char*>(1), 5);
    Set_Debug_Output_Hook(before);
    EXPECT_EQ(core->count(), 0);
    EXPECT_EQ(debug_output,
              u"Warning Log Entry caused an exception. Probably because of an errant %");
}

TEST_F(LogTransport, ABroadcastPassesAsItIs) {
    Broadcast_Message(-12, "bytes\0more", 10);
    EXPECT_EQ(last().kind, 8373);
    EXPECT_EQ(last().code, -12);
    EXPECT_EQ(last().size, 10);
    EXPECT_EQ(std::string(last().data, 10), std::string("bytes\0more", 10));
    Broadcast_Message(1, nullptr, 0);
    EXPECT_EQ(last().size, 0);
}

struct Heard {
    unsigned long first;
    long second;
    std::string data;
    long fourth, fifth;
};
Heard heard;

void listen(unsigned long first, long second, char* data, long fourth, long fifth, void*) {
    heard = {first, second, data, fourth, fifth};
}

TEST_F(LogTransport, AListenerIsTheCoresToCall) {
    int stops = 0;
    void* handle = nullptr;
    EXPECT_EQ(Attach_Message_Listener(-5, listen, &stops, true, &handle), -5);
    EXPECT_EQ(heard.first, 0xFFFFFFFFUL);
    EXPECT_EQ(heard.second, -1);
    EXPECT_EQ(heard.data, "hello");
    EXPECT_EQ(heard.fourth, 5);
    EXPECT_EQ(heard.fifth, -5);
    EXPECT_EQ(handle, &stops);
    Detach_Message_Listener(handle);
    EXPECT_EQ(stops, 1);
    EXPECT_EQ(Attach_Message_Listener(1, nullptr, &stops, true, &handle), -1) << "it faults";
}

// Cores that fail.

/// A line, a listener and a line again; what the core kept, or that it is gone.
void try_core(std::string_view name) {
    send("one");
    void* handle = nullptr;
    int context = 0;
    const long attached = Attach_Message_Listener(0, listen, &context, false, &handle);
    Detach_Message_Listener(handle);
    send("two");
    const LoadedStandin core(name);
    std::printf("listening %ld, ", attached);
    if (core.is_there())
        std::printf("kept %d\n", core.count().load());
    else
        std::printf("unloaded\n");
}

TARNWILLOW_CHILD(try_core) {
    test::set_core(test::standin(argument));
    try_core(argument);
    return 0;
}

std::string outcome(std::string_view core) {
    const test::TemporaryFolder settings;
    return test::run_child("try_core", core).output;
}

TEST(MessageCore, OneThatFailsIsUnloadedAndItsLinesAreDropped) {
    EXPECT_EQ(outcome("core"), "listening 0, kept 2\n");
    for (char const* name : {"coreWithoutInitialize", "coreWithoutQueueEntry", "coreThatRefuses",
                             "coreThatFaultsAtStart", "no such core"})
        EXPECT_EQ(outcome(name), "listening -1, unloaded\n") << name;
}

TEST(MessageCore, OneWithoutListenersStillTakesLines) {
    EXPECT_EQ(outcome("coreWithoutListeners"), "listening -1, kept 2\n");
}

TEST(MessageCore, OneThatFaultsAtALineLosesIt) {
    EXPECT_EQ(outcome("coreThatFaultsAtALine"), "listening 0, kept 0\n");
}

extern "C" __attribute__((visibility("default"))) void log_a_line() {
    send("from within");
    _LOG(u"source", 1, u"from within");
    Broadcast_Message(1, nullptr, 0);
}

TEST(MessageCore, WhatItLogsWhileItStartsIsDropped) {
    EXPECT_EQ(outcome("coreThatLogsAtStart"), "listening 0, kept 2\n");
}

// The load is tried again by the next line.
TARNWILLOW_CHILD(core_comes_late) {
    test::set_core(std::string(argument) + "/late.so");
    send("lost");
    std::filesystem::copy_file(test::standin("core"), std::string(argument) + "/late.so");
    send("kept");
    Broadcast_Message(1, nullptr, 0);
    void* const late = dlopen((std::string(argument) + "/late.so").c_str(), RTLD_LAZY);
    return *static_cast<int*>(dlsym(late, "kept_count")) == 2 ? 0 : 1;
}

TEST(MessageCore, OneThatComesLateIsUsedFromThenOn) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(test::run_child("core_comes_late", folder.path().string()).exit_code, 0);
}

// As the installation does, or the log writer's set-up: by the core's own entry.
extern "C" __attribute__((visibility("default"))) void register_core(char const* path) {
    test::set_core(path);
    std::printf("%s is the core\n", path);
}

TARNWILLOW_CHILD(core_is_registered_behind_a_broadcast) {
    Broadcast_Message(1, "lost", 4);
    const std::string path = test::standin("msgfanin");
    if (Register_DLL(std::u16string(path.begin(), path.end()).c_str()) != 0) return 1;
    Broadcast_Message(2, "kept", 4);
    const LoadedStandin core("msgfanin");
    return core.is_there() && core.count() == 1 && core.message(0).code == 2 ? 0 : 2;
}

TEST(MessageCore, OneThatIsRegisteredBehindABroadcastGetsTheNext) {
    const test::TemporaryFolder settings;
    EXPECT_EQ(test::run_child("core_is_registered_behind_a_broadcast").exit_code, 0);
}

TARNWILLOW_CHILD(broadcast_without_a_core) {
    const test::LogCollector log;
    Broadcast_Message(1, "lost", 4);
    const auto lines = log.lines();
    return lines.size() == 1 && lines[0].log_class == 14 &&
                   lines[0].text == u"**Broadcast_Message Initialization Failed!"
               ? 0
               : 1;
}

TEST(MessageCore, ABroadcastWithoutOneIsLogged) {
    const test::TemporaryFolder settings;
    EXPECT_EQ(test::run_child("broadcast_without_a_core").exit_code, 0);
}

TARNWILLOW_CHILD(core_from_elsewhere) {
    std::filesystem::current_path(TARNWILLOW_STANDINS);
    test::set_core("core.so");
    const auto before = std::filesystem::current_path();
    send("one");
    return LoadedStandin("core").is_there() && std::filesystem::current_path() == before ? 0 : 1;
}

TEST(MessageCore, IsLoadedByItsAbsolutePathAndLeavesTheDirectoryAlone) {
    const test::TemporaryFolder settings;
    EXPECT_EQ(test::run_child("core_from_elsewhere").exit_code, 0);
}

TARNWILLOW_CHILD(first_lines_of_many_threads) {
    test::set_core(test::standin("core"));
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([] { send("first"); });
    for (auto& thread : threads)
        thread.join();
    return LoadedStandin("core").count() == 8 ? 0 : 1;
}

TEST(MessageCore, NoLineIsLostWhenManyThreadsLoadIt) {
    const test::TemporaryFolder settings;
    for (int i = 0; i < 10; ++i)
        ASSERT_EQ(test::run_child("first_lines_of_many_threads").exit_code, 0) << i;
}

TARNWILLOW_CHILD(halt) {
    test::set_core(test::standin("core"));
    send("one");
    Halt_Logging();
    send("two");
    send(u"three");
    _LOG(u"source", 1, u"four");
    const LoadedStandin core("core");
    const int lines = core.count();
    Broadcast_Message(1, nullptr, 0);
    return lines == 1 && core.count() == 2 ? 0 : 1;
}

TEST(MessageCore, AHaltStopsLinesButNoBroadcasts) {
    const test::TemporaryFolder settings;
    EXPECT_EQ(test::run_child("halt").exit_code, 0);
}

// Made ahead of the library's own objects, so destroyed behind the one that unloads the core.
struct LastLook {
    bool wanted = false;

    ~LastLook() {
        if (!wanted) return;
        send("late");
        std::printf("%s\n", LoadedStandin("core").is_there() ? "still there" : "unloaded");
    }
};

[[gnu::init_priority(200)]] LastLook last_look;

TARNWILLOW_CHILD(exit_with_a_core) {
    last_look.wanted = true;
    test::set_core(test::standin("core"));
    send("one");
    return LoadedStandin("core").count() == 1 ? 0 : 1;
}

TEST(MessageCore, GoesAtExitAndDropsLaterLines) {
    const test::TemporaryFolder settings;
    const auto result = test::run_child("exit_with_a_core");
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output, "unloaded\n");
}

}  // namespace
}  // namespace tarnwillow
