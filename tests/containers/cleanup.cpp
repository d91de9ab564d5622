#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "support/childProcess.h"
#include "support/failingAllocator.h"
#include "support/lists.h"
#include "support/reports.h"
#include "tarnwillow/containers/CAutoCleanup.h"
#include "tarnwillow/containers/globalCleanup.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/modules.h"

namespace tarnwillow {
namespace {

std::string released;

class Interface : public IUnknown {
public:
    std::int32_t QueryInterface(GUID const&, void**) override { return 0; }
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override {
        released += "interface ";
        return 0;
    }
};

class Deleteable : public CAutoDeleteableObject {
public:
    ~Deleteable() override { released += "object "; }
};

class Handle : public platform::HandleObject {
public:
    Handle() : HandleObject(platform::ObjectKind::event) {}
    ~Handle() override { released += "handle "; }
};

HANDLE new_handle() { return platform::open_handle(std::make_shared<Handle>()); }
long new_memory() { return reinterpret_cast<long>(::operator new(16)); }

class Cleanup : public testing::Test {
protected:
    void SetUp() override {
        released.clear();
        released.reserve(200);
    }
};

TEST_F(Cleanup, ReleasesEachKindInOrderOfAdding) {
    CloseHandle(new_handle());  // the handle table keeps its room
    released.clear();
    const long before = test::live_allocations();
    Interface interface;
    {
        CAutoCleanup cleanup;
        cleanup.Add(&interface);
        cleanup.Add(new_handle());
        cleanup.Add(static_cast<CAutoDeleteableObject*>(new Deleteable));
        cleanup.Add(SysAllocString(u"text"));
        cleanup.Add(new_memory());
        cleanup.Add(static_cast<CAutoDeleteableObject*>(nullptr));
        EXPECT_EQ(released, "");
    }
    EXPECT_EQ(released, "interface handle object ");
    EXPECT_EQ(test::live_allocations(), before);
}

TEST_F(Cleanup, PointersToPointersAreLeftNull) {
    Interface interface;
    IUnknown* unknown = &interface;
    HANDLE handle = new_handle();
    BSTR string = SysAllocString(u"text");
    CAutoDeleteableObject* object = new Deleteable;
    CAutoDeleteableObject* none = nullptr;
    long memory = new_memory();
    {
        CAutoCleanup cleanup;
        cleanup.Add(&unknown);
        cleanup.Add(&handle);
        cleanup.Add(&string);
        cleanup.Add(&object);
        cleanup.Add(&none);
        cleanup.Add(&memory);
    }
    EXPECT_EQ(released, "interface handle object ");
    EXPECT_TRUE(unknown == nullptr && handle == nullptr && string == nullptr && object == nullptr);
    EXPECT_EQ(memory, 0);
}

TEST_F(Cleanup, SectionsListsAndModules) {
    CRITICAL_SECTION section;
    InitializeCriticalSectionAndSpinCount(&section, 7);
    CCollection list;
    list.Add(1);
    HINSTANCE module = LoadLibraryW(u"libdl.so.2");
    ASSERT_NE(module, nullptr);
    {
        CAutoCleanup cleanup;
        cleanup.Add(&section);
        cleanup.Add(&list);
        cleanup.Add(module);
    }
    EXPECT_EQ(section.spin_count, 0u);
    EXPECT_EQ(list.Entries(), 0);
    EXPECT_TRUE(CCollection::Validate_Object(&list));
    EXPECT_FALSE(FreeLibrary(module));
}

TEST_F(Cleanup, CommitReleasesNothing) {
    HANDLE handle = new_handle();
    const long before = test::live_allocations();
    {
        CAutoCleanup cleanup;
        cleanup.Add(handle);
        cleanup.Commit();
    }
    EXPECT_EQ(released, "");
    EXPECT_EQ(test::live_allocations(), before);
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_FALSE(CloseHandle(handle));
}

TEST_F(Cleanup, FaultEndsOneReleaseOnly) {
    const test::ReportCollector collector;
    {
        CAutoCleanup cleanup;
        cleanup.Add(reinterpret_cast<IUnknown*>(0x10));
        cleanup.Add(new_handle());
    }
    EXPECT_EQ(released, "handle ");
    EXPECT_EQ(collector.names(), u"Cleanup_Item");
    EXPECT_EQ(collector.reports()[0].level, ExceptionLevelHandled);
}

TEST_F(Cleanup, WithoutMemoryAddThrowsAndWhatWasAddedIsReleased) {
    try {
        CAutoCleanup cleanup;
        cleanup.Add(new_handle());
        const test::FailingAllocator failing;
        cleanup.Add(static_cast<void*>(nullptr));
        FAIL();
    } catch (long status) {
        EXPECT_EQ(status, E_OUTOFMEMORY);
    }
    EXPECT_EQ(released, "handle ");
}

template <class Pointer>
concept Accepted = requires(CAutoCleanup cleanup, Pointer pointer) {
    cleanup.Add(pointer);
};
static_assert(!Accepted<int**> && !Accepted<char*> && !Accepted<int*> && !Accepted<Deleteable**>);
static_assert(!Accepted<FILE*> && !Accepted<HKEY> && !Accepted<HWND> && !Accepted<double*> &&
              !Accepted<wchar_t*>);
static_assert(Accepted<void**> && Accepted<long> && Accepted<Deleteable*>);

// The pass over the library's static objects.

class Last : public CGlobalCleanupObject {
public:
    explicit Last(char const* name) : name_(name) {}
    void _Do_Final_Cleanup() override {
        released += name_;
        if (name_ == std::string("faulty ")) test::fault();
    }

private:
    char const* name_;
};

class Again : public CGlobalCleanupObject {
public:
    void _Do_Final_Cleanup() override {
        released += "again ";
        Run_Global_Cleanup(true);
    }
};

TARNWILLOW_CHILD(cleanup_pass) {
    const test::ReportCollector collector;
    Last first("first "), faulty("faulty "), last("last ");
    for (Last* object : {&first, &faulty, &last})
        Add_Global_Cleanup_Object(object);
    Run_Global_Cleanup(true);
    Run_Global_Cleanup(true);
    if (released != "first faulty last ") return 1;
    if (collector.names() != u"Cleanup_Object(CGlobalCleanupObject)") return 2;
    if (collector.reports()[0].level != ExceptionLevelSerious) return 3;
    Again again;
    Add_Global_Cleanup_Object(&again);
    {
        Last gone("gone ");
        Add_Global_Cleanup_Object(&gone);
    }
    Add_Global_Cleanup_Object(&first);
    Run_Global_Cleanup(true);
    return released == "first faulty last again first " ? 0 : 4;
}

using RegisterProbe = void (*)();

TARNWILLOW_CHILD(cleanup_at_unload) {
    // In a thread that ends: what it keeps for itself would keep the library loaded.
    void* plugin = nullptr;
    std::thread([&] {
        plugin = dlopen(UNLOAD_PROBE, RTLD_NOW | RTLD_LOCAL);
        reinterpret_cast<RegisterProbe>(dlsym(plugin, "register_probe"))();
    }).join();
    if (argument != "dlclose") return 0;
    dlclose(plugin);
    std::puts(dlopen(UNLOAD_PROBE, RTLD_NOW | RTLD_NOLOAD) == nullptr ? "closed" : "still there");
    // Had anything of the library stayed behind in this thread or in the process, the end would
    // fault.
    return 0;
}

TEST(GlobalCleanup, RunsEachObjectOnceInOrderAndSurvivesAFault) {
    EXPECT_EQ(test::run_child("cleanup_pass").exit_code, 0);
}

TEST(GlobalCleanup, ReachesObjectsAtExit) {
    const test::ChildResult result = test::run_child("cleanup_at_unload", "exit");
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output, "cleanup\n");
}

TEST(GlobalCleanup, ReachesObjectsAtUnload) {
    const test::ChildResult result = test::run_child("cleanup_at_unload", "dlclose");
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output, "cleanup\nclosed\n");
}

}  // namespace
}  // namespace tarnwillow
