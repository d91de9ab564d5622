#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <thread>

#include "support/childProcess.h"
#include "support/reports.h"
#include "support/runningChild.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/crossprocess/instanceControl.h"
#include "tarnwillow/crossprocess/instanceTable.h"
#include "tarnwillow/platform/headlessWindows.h"
#include "tarnwillow/platform/sharedMemory.h"
#include "tarnwillow/platform/waits.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::test {
namespace {

std::string first_instance(char const* application, char const* qualifier, HWND window) {
    return First_Instance(application, qualifier, window) ? "first" : "second";
}

/// A program with a window of that title, which does as it is told.
TARNWILLOW_CHILD(program) {
    const HWND window = New_Headless_Window(std::string(argument).c_str());
    char name[300], qualifier[300];
    for (std::string request; read_request(&request);) {
        if (std::sscanf(request.c_str(), "start %299s %299s", name, qualifier) == 2)
            answer(first_instance(name, qualifier, window));
        else if (std::sscanf(request.c_str(), "title %299s", name) == 1)
            answer(SetWindowTextA(window, name) ? "set" : "no");
        else if (request == "update")
            answer((Update_Instance("any", window), "updated"));
        else if (request == "state")
            answer(std::string(IsIconic(window) ? "minimised" : "open") +
                   (GetForegroundWindow() == window ? " in front" : ""));
        else if (request == "minimise")
            answer(ShowWindow(window, SW_MINIMIZE) ? "minimised" : "no");
        else if (request == "close")
            answer(Destroy_Headless_Window(window) ? "closed" : "no");
    }
    return 0;
}

class Instances : public testing::Test {
protected:
    Instances() {
        detail::instance_table().detach();  // from the share that the load attached to
        EXPECT_EQ(detail::instance_table().attach(), 0);
    }
    ~Instances() override {
        detail::instance_table().detach();
        platform::leave_headless_windows();
    }

    /// The records as "application/qualifier/title", with a mark for those that are not alive.
    static std::string records() {
        std::string text;
        List_Instances(
            [](char const* application, char const* qualifier, char const* title, HWND, bool alive,
               void* context) {
                auto& all = *static_cast<std::string*>(context);
                all += std::string(all.empty() ? "" : " ") + application + "/" + qualifier + "/" +
                       title + (alive ? "" : "!");
                return true;
            },
            &text);
        return text;
    }

    /// The share's bytes.
    static detail::InstanceShare& share() {
        static_assert(sizeof(detail::InstanceShare) == 38604);
        auto* const view = static_cast<detail::InstanceShare*>(
            CreateSharedMemory(38604, "__QVN7162_INSTANCESHARE", nullptr));
        return *view;
    }

    TemporaryFolder folder;
};

TEST_F(Instances, AreFirstOncePerPair) {
    RunningChild first("program", "one"), second("program", "two");
    EXPECT_EQ(first.ask("start app main"), "first");
    EXPECT_EQ(second.ask("start app main"), "second");
    EXPECT_EQ(second.ask("start app other"), "first");
    EXPECT_EQ(first.ask("start APP main"), "first") << "case counts";
    EXPECT_EQ(records(), "app/main/one app/other/two APP/main/one");
}

TEST_F(Instances, ComeToTheFrontWhenStartedAgain) {
    RunningChild first("program", "one"), second("program", "two");
    EXPECT_EQ(first.ask("start app main"), "first");
    EXPECT_EQ(first.ask("minimise"), "minimised");
    EXPECT_EQ(first.ask("state"), "minimised");
    EXPECT_EQ(second.ask("start app main"), "second");
    EXPECT_EQ(first.ask("state"), "open in front");
}

TEST_F(Instances, BringTheirLastPopupToTheFront) {
    const HWND window = New_Headless_Window("main");
    const HWND dialog = New_Headless_Window("dialog", window);
    EXPECT_TRUE(First_Instance("app", "main", window));
    EXPECT_FALSE(First_Instance("app", "main", nullptr));
    EXPECT_EQ(GetForegroundWindow(), dialog);
    ShowWindow(dialog, SW_HIDE);
    EXPECT_TRUE(SetForegroundWindow(window));
    EXPECT_TRUE(SetForegroundWindow(dialog));
    Destroy_Headless_Window(dialog);
    EXPECT_FALSE(First_Instance("app", "main", nullptr));
    EXPECT_EQ(GetForegroundWindow(), window);
}

TEST_F(Instances, AreDeadWithTheirProcess) {
    RunningChild second("program", "two");
    {
        RunningChild first("program", "one");
        EXPECT_EQ(first.ask("start app main"), "first");
        EXPECT_TRUE(Instance_Available("app", "main"));
    }
    EXPECT_EQ(records(), "app/main/one!");
    EXPECT_EQ(second.ask("start app main"), "first");
    EXPECT_EQ(records(), "app/main/two");
}

TEST_F(Instances, AreDeadWithAnotherTitleUntilThatIsTold) {
    RunningChild first("program", "one"), second("program", "two");
    EXPECT_EQ(first.ask("start app main"), "first");
    EXPECT_EQ(first.ask("title changed"), "set");
    EXPECT_FALSE(Instance_Available("app", "main"));
    EXPECT_EQ(records(), "app/main/one!") << "the record stays";
    EXPECT_EQ(first.ask("update"), "updated");
    EXPECT_TRUE(Instance_Available("app", "main"));
    EXPECT_EQ(second.ask("start app main"), "second");
    EXPECT_EQ(first.ask("title again"), "set");
    EXPECT_EQ(second.ask("start app main"), "first");
    EXPECT_EQ(records(), "app/main/two");
}

TEST_F(Instances, AreFoundUnderAnyQualifier) {
    RunningChild first("program", "one");
    EXPECT_EQ(first.ask("start app main"), "first");
    EXPECT_TRUE(Instance_Available("app", nullptr));
    EXPECT_FALSE(Instance_Available("app", ""));
    EXPECT_FALSE(Instance_Available("ap", nullptr));
    EXPECT_TRUE(First_Instance(nullptr, nullptr, New_Headless_Window("mine")));
    EXPECT_TRUE(Instance_Available("", ""));
}

TEST_F(Instances, LeaveTheRecordBehindADeadOneInTheWalk) {
    {
        RunningChild program("program", "gone");
        for (char const* qualifier : {"a", "b", "c"})
            program.ask(std::string("start app ") + qualifier);
    }
    const HWND window = New_Headless_Window("mine");
    EXPECT_TRUE(First_Instance("app", "d", window));
    EXPECT_TRUE(Instance_Available("app", nullptr));
    EXPECT_EQ(records(), "app/d/mine");
}

TEST_F(Instances, AreNotRecordedInAFullTable) {
    const HWND window = New_Headless_Window("mine");
    for (int i = 0; i < 60; ++i)
        ASSERT_TRUE(First_Instance("app", std::to_string(i).c_str(), window));
    EXPECT_EQ(share().count, 49);
    EXPECT_FALSE(Instance_Available("app", "49"));
    EXPECT_TRUE(First_Instance("app", "49", window));
    EXPECT_FALSE(First_Instance("app", "48", window));
}

TEST_F(Instances, WithoutAWindowAreReplacedAtOnce) {
    std::strcpy(share().records[0].title, "what stood there");
    EXPECT_TRUE(First_Instance("app", "main", nullptr));
    EXPECT_EQ(records(), "app/main/what stood there!");
    EXPECT_TRUE(First_Instance("app", "main", nullptr));
    EXPECT_EQ(share().count, 1);
}

TEST_F(Instances, AreComparedByTheirFirst255Bytes) {
    const std::string name(300, 'n');
    const HWND window = New_Headless_Window(std::string(300, 't').c_str());
    EXPECT_TRUE(First_Instance(name.c_str(), name.c_str(), window));
    EXPECT_FALSE(First_Instance(name.substr(0, 255).c_str(), name.c_str(), window));
    EXPECT_TRUE(First_Instance(name.substr(0, 254).c_str(), name.c_str(), window));
}

TEST_F(Instances, SurviveAHostileShare) {
    detail::InstanceShare& bytes = share();
    const HWND window = New_Headless_Window("mine");
    for (int count : {49, 50, INT32_MAX, -1, INT32_MIN}) {
        std::memset(&bytes, 'x', sizeof bytes);
        bytes.count = count;
        EXPECT_FALSE(Instance_Available("app", nullptr));
        First_Instance("app", "main", window);
        Update_Instance("app", window);
        EXPECT_LE(List_Instances([](auto...) { return true; }, nullptr), 49);
        EXPECT_GE(bytes.count, 0);
    }
}

TEST_F(Instances, AreNotFoundWhereSomebodyShortensTheirTable) {
    const HWND window = New_Headless_Window("mine");
    EXPECT_TRUE(First_Instance("app", "main", window));
    for (const auto& file : std::filesystem::directory_iterator(folder.path() / "runtime"))
        if (file.path().filename().string().find("INSTANCESHARE") != std::string::npos)
            std::filesystem::resize_file(file, 0);
    const ReportCollector reports;
    EXPECT_FALSE(Instance_Available("app", "main"));
    EXPECT_FALSE(First_Instance("app", "main", window));
    Update_Instance("app", window);
    EXPECT_EQ(List_Instances(nullptr, nullptr), -1);
    EXPECT_EQ(reports.names(), u"Instance table,Instance table,Instance table,Instance table");
    std::thread([] {
        EXPECT_FALSE(Instance_Available("app", "main")) << "no lock is left";
    }).join();
}

TEST_F(Instances, ArePutRightBehindADeadHolder) {
    const HWND window = New_Headless_Window("mine");
    for (char const* qualifier : {"a", "b", "c", "d"})
        First_Instance("app", qualifier, window);
    // As if "b" was being removed when its remover died: "c" has been moved, "d" half.
    detail::InstanceShare& bytes = share();
    bytes.records[1] = bytes.records[2];
    bytes.records[2].window = 0xFFFFFFFF;
    std::strcpy(bytes.records[2].qualifier, "half");
    bytes.count = static_cast<std::int32_t>(4 | 0x80000000U);
    EXPECT_TRUE(Instance_Available("app", "d"));
    EXPECT_EQ(records(), "app/a/mine app/c/mine app/d/mine");
    // The same one step earlier: "c" stands there twice.
    bytes.records[3] = bytes.records[2];
    bytes.records[2] = bytes.records[1];
    bytes.count = static_cast<std::int32_t>(4 | 0x80000000U);
    EXPECT_TRUE(Instance_Available("app", "d"));
    EXPECT_EQ(records(), "app/a/mine app/c/mine app/d/mine");
}

/// Takes the mutex of all instances and keeps it.
TARNWILLOW_CHILD(master_holder) {
    const HANDLE mutex = CreatePublicMutex("__QVN7162_InstanceMasterMutex");
    answer(WaitForSingleObject(mutex, INFINITE) == WAIT_OBJECT_0 ? "held" : "not held");
    std::string request;
    read_request(&request);
    return 0;
}

TEST_F(Instances, GoOnBehindAHolderThatDied) {
    RunningChild holder("master_holder");
    ASSERT_EQ(holder.line(), "held");
    holder.kill();
    RunningChild first("program", "one");
    EXPECT_EQ(first.ask("start app main"), "first");
    EXPECT_TRUE(Instance_Available("app", "main"));
}

TEST_F(Instances, AttachAgainWhereThatFailedBefore) {
    const HWND window = New_Headless_Window("mine");
    detail::instance_table().detach();
    EXPECT_FALSE(Instance_Available("app", "main")) << "attaches only";
    EXPECT_TRUE(First_Instance("app", "main", window));
    EXPECT_TRUE(Instance_Available("app", "main"));
    detail::instance_table()._Do_Final_Cleanup();
    detail::instance_table()._Do_Final_Cleanup();
    EXPECT_TRUE(First_Instance("app", "main", window)) << "the share went with its last user";
}

}  // namespace
}  // namespace tarnwillow::test
