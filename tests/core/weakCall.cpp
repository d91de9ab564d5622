#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/temporaryFolder.h"
#include "tarnwillow/core/CWeakAPICall.h"
#include "tarnwillow/platform/modules.h"
#include "tarnwillow/platform/threads.h"

namespace tarnwillow {
namespace {

constexpr char kMath[] = "libm.so.6";
constexpr char kQuery[] = "NtQueryInformationThread";

TEST(WeakCall, FindsProceduresOfOneLibraryAfterTheOther) {
    CWeakAPICall call;
    const auto cosine = reinterpret_cast<double (*)(double)>(call.Load_Call(kMath, "cos"));
    ASSERT_NE(cosine, nullptr);
    EXPECT_EQ(cosine(0), 1.0);
    EXPECT_NE(call.Load_Call(kMath, "sin"), nullptr);
    EXPECT_EQ(call.Load_Call(kMath, "no such procedure"), nullptr);
    EXPECT_NE(call.Load_Call("libdl.so.2", "dlopen"), nullptr);
}

TEST(WeakCall, KnowsTheSystemLibrariesInAnyCase) {
    for (char const* name : {"ntdll.dll", "NTDLL.DLL", "NtDll.dll"}) {
        CWeakAPICall call;
        EXPECT_EQ(call.Load_Call(name, kQuery), reinterpret_cast<void*>(NtQueryInformationThread));
        EXPECT_EQ(call.Load_Call(name, "ntqueryinformationthread"), nullptr);
    }
    HINSTANCE wide = LoadLibraryW(u"Ntdll.DLL");
    EXPECT_NE(GetProcAddress(wide, kQuery), nullptr);
    EXPECT_TRUE(FreeLibrary(wide));
    EXPECT_FALSE(FreeLibrary(wide));
    EXPECT_EQ(LoadLibraryA("/no/such/folder/ntdll.dll"), nullptr);
}

TEST(WeakCall, DoesNotTryAMissingLibraryAgainUnderTheSameName) {
    const test::TemporaryFolder folder;
    const std::string path = folder.file("late.so");
    CWeakAPICall call;
    EXPECT_EQ(call.Load_Call(path.c_str(), "cos"), nullptr);
    Dl_info math{};
    ASSERT_NE(dladdr(dlsym(RTLD_DEFAULT, "cos"), &math), 0);
    std::filesystem::copy_file(math.dli_fname, path);
    EXPECT_EQ(call.Load_Call(path.c_str(), "cos"), nullptr);
    EXPECT_NE(CWeakAPICall().Load_Call(path.c_str(), "cos"), nullptr);
}

TEST(WeakCall, NamesThatAreNoneOrTooLongChangeNothing) {
    CWeakAPICall call;
    void* const cosine = call.Load_Call(kMath, "cos");
    EXPECT_EQ(call.Load_Call(std::string(256, 'x').c_str(), "cos"), nullptr);
    EXPECT_EQ(call.Load_Call(nullptr, "cos"), nullptr);
    EXPECT_EQ(call.Load_Call(kMath, nullptr), nullptr);
    EXPECT_EQ(call.Load_Call(kMath, "cos"), cosine);
    EXPECT_EQ(call.Load_Call(std::string(255, 'x').c_str(), "cos"), nullptr);
}

// A library of its own, so that its presence in memory tells who still refers to it.
TEST(WeakCall, ACopyHasAReferenceOfItsOwn) {
    const test::TemporaryFolder folder;
    const std::string path = folder.file("own.so");
    Dl_info math{};
    ASSERT_NE(dladdr(dlsym(RTLD_DEFAULT, "cos"), &math), 0);
    std::filesystem::copy_file(math.dli_fname, path);
    const auto loaded = [&] {
        void* present = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (present != nullptr) dlclose(present);
        return present != nullptr;
    };
    CWeakAPICall copy;
    {
        CWeakAPICall first;
        first.Load_Call(path.c_str(), "cos");
        copy = first;
        copy = static_cast<CWeakAPICall const&>(copy);
    }
    EXPECT_TRUE(loaded());
    EXPECT_NE(copy.Load_Call(path.c_str(), "cos"), nullptr);
    copy = CWeakAPICall();
    EXPECT_FALSE(loaded());
}

}  // namespace
}  // namespace tarnwillow
