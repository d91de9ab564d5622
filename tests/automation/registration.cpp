#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "support/childProcess.h"
#include "support/logCollector.h"
#include "support/recorder.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/automation/comRegistrationUtils.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/modules.h"

namespace tarnwillow {
namespace {

constexpr GUID kClass = {
    0x882F41E2, 0x802A, 0x4231, {0x90, 0xA6, 0xF8, 0xBF, 0x23, 0x8A, 0xD3, 0x0F}};
constexpr char kServerFile[] = TARNWILLOW_STANDINS "/server.so";

std::u16string wide(const std::string& text) { return {text.begin(), text.end()}; }
std::u16string standin(const std::string& name) { return wide(TARNWILLOW_STANDINS "/" + name); }

/// Everything below HKEY_CLASSES_ROOT, one value a line, with the test's own words for what is
/// long.
class ClassesText {
public:
    std::string read() {
        CRegistry root;
        if (root.Open_Key(HKEY_CLASSES_ROOT, nullptr)) add(root, "");
        replace("{882F41E2-802A-4231-90A6-F8BF238AD30F}", "{class}");
        replace(kServerFile, "FILE");
        return text_;
    }

private:
    void add(CRegistry& key, const std::string& path) {
        char name[CRegistry::kNameRoom];
        for (unsigned long i = 0; key.Get_Indexed_Value(i, name); ++i) {
            char value[256] = {};
            key.Get_Entry(name, value);
            text_ += path + " " + name + "=" + value + "\n";
        }
        for (unsigned long i = 0; key.Get_Subkey(i, name); ++i) {
            const std::string below = path.empty() ? name : path + "\\" + name;
            CRegistry subkey;
            if (subkey.Open_Key(HKEY_CLASSES_ROOT, below.c_str())) add(subkey, below);
        }
    }

    void replace(const std::string& what, const std::string& by) {
        for (std::size_t at; (at = text_.find(what)) != std::string::npos;)
            text_.replace(at, what.size(), by);
    }

    std::string text_;
};

class Registration : public testing::Test {
protected:
    Registration() : module(LoadLibraryA(kServerFile)) {}
    ~Registration() override { FreeLibrary(module); }

    void register_server() {
        EXPECT_EQ(RegisterServer(module, kClass, "Notes reader", "Notes.Reader", "Notes.Reader.1"),
                  0);
    }
    static long unregister() { return UnregisterServer(kClass, "Notes.Reader", "Notes.Reader.1"); }
    static std::string classes() { return ClassesText().read(); }

    test::TemporaryFolder folder;
    HINSTANCE module;
};

constexpr char const* kNoNames[] = {"", nullptr, "\\", "\\\\"};

constexpr char kServerKeys[] =
    "CLSID\\{class} =Notes reader\n"
    "CLSID\\{class}\\InProcServer32 =FILE\n"
    "CLSID\\{class}\\InProcServer32 ThreadingModel=Apartment\n"
    "CLSID\\{class}\\ProgID =Notes.Reader.1\n"
    "CLSID\\{class}\\VersionIndependentProgID =Notes.Reader\n"
    "Notes.Reader =Notes reader\n"
    "Notes.Reader CLSID={class}\n"
    "Notes.Reader CurVer=Notes.Reader.1\n"
    "Notes.Reader.1 =Notes reader\n"
    "Notes.Reader.1 CLSID={class}\n";

TEST_F(Registration, AServerIsFoundByItsClassAndItsNames) {
    register_server();
    EXPECT_EQ(classes(), kServerKeys);
}

TEST_F(Registration, LeavesNothingBehind) {
    EXPECT_EQ(unregister(), 0) << "it was never there";
    CRegistry other;
    ASSERT_TRUE(other.Create_Key(HKEY_CLASSES_ROOT, "CLSID\\other\\deep"));
    other.Set_Entry("a", "b");
    register_server();
    RegisterShellExtension(module, kClass, "run ", "Open");
    EXPECT_EQ(unregister(), 0);
    EXPECT_EQ(classes(), "CLSID\\other\\deep a=b\n");
    EXPECT_EQ(unregister(), 0);
}

TEST_F(Registration, ANameThatIsNoneNeverReachesTheRoot) {
    register_server();
    const std::string before = classes();
    for (char const* none : kNoNames) {
        EXPECT_EQ(RegisterServer(module, kClass, "Notes reader", none, none), 0);
        EXPECT_EQ(classes().rfind("CLSID", 0), 0U) << "no values of the root";
    }
    register_server();
    for (char const* none : kNoNames) {
        EXPECT_EQ(UnregisterServer(GUID{}, none, none), 0);
        EXPECT_EQ(classes(), before);
    }
}

TEST_F(Registration, TheShellGetsAnIconAndACommand) {
    RegisterShellExtension(module, kClass, "run ", "Open");
    EXPECT_EQ(classes(), "") << "the class is not registered";
    CRegistry key;
    key.Create_Key(HKEY_CLASSES_ROOT, "CLSID\\{882F41E2-802A-4231-90A6-F8BF238AD30F}");
    EXPECT_EQ(RegisterShellExtension(module, kClass, "\"run\" /c", "Open"), 0);
    EXPECT_EQ(classes(),
              "CLSID\\{class}\\DefaultIcon =FILE\n"
              "CLSID\\{class}\\shell\\open =Open\n"
              "CLSID\\{class}\\shell\\open\\command =\"run\" /c{class},%1\n");
}

// As an account that may only read the store.
TARNWILLOW_CHILD(unregister_as_a_reader) {
    if (geteuid() == 0 && setuid(65534) != 0) return 2;
    return UnregisterServer(kClass, "Notes.Reader", "Notes.Reader.1") == ERROR_ACCESS_DENIED ? 0
                                                                                             : 1;
}

void set_access(const std::filesystem::path& folder, unsigned folders, unsigned files) {
    using std::filesystem::perms;
    std::filesystem::permissions(folder, perms{0755});
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        std::filesystem::permissions(entry, perms{entry.is_directory() ? folders : files});
}

TEST_F(Registration, ADeletionThatFailsIsTold) {
    register_server();
    set_access(folder.path(), 0555, 0444);
    EXPECT_EQ(test::run_child("unregister_as_a_reader").exit_code, 0);
    set_access(folder.path(), 0755, 0644);
    EXPECT_EQ(classes(), kServerKeys);
}

// Servers that register themselves.

bool is_loaded(const std::u16string& path) {
    const std::string narrow(path.begin(), path.end());
    void* library = dlopen(narrow.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (library != nullptr) dlclose(library);
    return library != nullptr;
}

class SelfRegistration : public testing::Test {
protected:
    std::u16string program(const std::string& name) { return wide(recorder.program(name)); }
    static bool has_children() { return waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD; }

    test::TemporaryFolder folder;
    test::Recorder recorder{folder};
    test::ReportCollector reports;
};

TEST_F(SelfRegistration, TheEntrysOwnResultIsGiven) {
    EXPECT_EQ(Register_DLL(standin("server.so").c_str()), -7);
    EXPECT_EQ(Unregister_DLL(standin("server.so").c_str()), E_FAIL) << "it faults";
    EXPECT_EQ(reports.names(), u"Unregister_DLL");
    EXPECT_FALSE(is_loaded(standin("server.so")));
}

TEST_F(SelfRegistration, ALibraryWithoutTheEntryIsUnloaded) {
    const std::u16string path = standin("serverWithoutEntries.so");
    EXPECT_EQ(Register_DLL(path.c_str()), E_INVALIDARG);
    EXPECT_EQ(Unregister_DLL(path.c_str()), E_INVALIDARG);
    EXPECT_FALSE(is_loaded(path));
}

TEST_F(SelfRegistration, ALibraryThatIsNotThereGivesTheLoadsError) {
    EXPECT_EQ(Register_DLL(u"/no/such/server.so"), ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(Unregister_DLL(nullptr), ERROR_MOD_NOT_FOUND);
}

TEST_F(SelfRegistration, AProgramGetsItsSwitch) {
    EXPECT_EQ(Register_Executable(program("a server").c_str()), 0);
    EXPECT_EQ(recorder.arguments(), "/register\n");
    EXPECT_EQ(Unregister_Executable(program("a server").c_str()), 0);
    EXPECT_EQ(recorder.arguments(), "/unregister\n");
    EXPECT_EQ(Register_Executable(u"/no/such/program"), 0);
    EXPECT_EQ(Unregister_Executable(nullptr), 0);
    EXPECT_EQ(Register_Executable(nullptr), 0);
}

TEST_F(SelfRegistration, TheRunnerIsNotRegisteredByItsPlainName) {
    program("REGRUN.EXE");
    setenv("PATH", folder.path().c_str(), 1);
    EXPECT_EQ(Register_Executable(u"REGRUN.EXE"), 0);
    EXPECT_EQ(recorder.arguments(), "<missing>");
    EXPECT_EQ(Unregister_Executable(u"REGRUN.EXE"), 0);
    EXPECT_EQ(recorder.arguments(), "/unregister\n");
    EXPECT_EQ(Register_Executable(wide(folder.file("REGRUN.EXE")).c_str()), 0);
    EXPECT_EQ(recorder.arguments(), "/register\n");
}

TEST_F(SelfRegistration, AProgramThatHangsIsEndedAfterTenSeconds) {
    recorder.hang();
    EXPECT_EQ(Register_Executable(program("hangs").c_str()), 0);
    EXPECT_EQ(recorder.arguments(), "/register\n");
    EXPECT_FALSE(has_children());
}

// Calls with the administrator's rights.

class AdministratorCall : public SelfRegistration {
protected:
    AdministratorCall() {
        settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
        settings.Set_Entry("Bin", (folder.path().string() + "/").c_str());
    }
    CRegistry settings;
};

TEST_F(AdministratorCall, GoesThroughTheSiblingProgram) {
    program("elevrun.exe");
    EXPECT_TRUE(Administrator_Call("\"c:\\my program.exe\" /x $HOME;id", true));
    EXPECT_EQ(recorder.arguments(), "c:\\my program.exe\n/x\n$HOME;id\n");
    EXPECT_TRUE(Administrator_Call(nullptr, true));
    EXPECT_EQ(recorder.arguments(), "");
}

TEST_F(AdministratorCall, IsLogged) {
    const test::LogCollector log;
    EXPECT_FALSE(Administrator_Call("/x \"y\"", true));
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].log_class, 14);
    EXPECT_EQ(lines[0].text, u"Administrator_Call: Command Line: \"/x \"y\"\"");
    EXPECT_EQ(lines[1].log_class, 14);
    EXPECT_EQ(lines[1].text, u"Administrator_Call failed to launch: \"" +
                                 wide(folder.file("elevrun.exe")) +
                                 u"\" Command Line: \"/x \"y\"\"");
}

TEST_F(AdministratorCall, DoesNotWaitUnlessItIsTold) {
    recorder.hang();
    program("elevrun.exe");
    EXPECT_TRUE(Administrator_Call("x", false)) << "and it hangs";
}

TEST_F(AdministratorCall, FailsWithoutTheProgram) {
    EXPECT_FALSE(Administrator_Call("x", true));
    program("elevrun.exe");
    setenv("PATH", folder.path().c_str(), 1);
    settings.Delete_Entry("Bin");
    EXPECT_FALSE(Administrator_Call("x", true)) << "it is never searched for";
}

}  // namespace
}  // namespace tarnwillow
