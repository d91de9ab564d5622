#include "tarnwillow/platform/handles.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/ole.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {
namespace {

using platform::find_object;
using platform::ObjectKind;

struct Counted : platform::HandleObject {
    explicit Counted(int& number) : HandleObject(ObjectKind::event), alive(number) { ++alive; }
    ~Counted() override { --alive; }
    int& alive;
};

class Handles : public testing::Test {
protected:
    HANDLE open() { return platform::open_handle(std::make_shared<Counted>(alive)); }
    int alive = 0;
};

TEST_F(Handles, FindTheirObjectByKind) {
    const HANDLE handle = open();
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(find_object(handle, ObjectKind::event), nullptr);
    EXPECT_EQ(find_object(handle, ObjectKind::mutex), nullptr);
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_EQ(alive, 0);
}

TEST_F(Handles, AreToldApartFromClosedOnesInTheSamePlace) {
    const HANDLE before = open();
    CloseHandle(before);
    const HANDLE after = open();
    EXPECT_NE(after, before);
    EXPECT_EQ(find_object(before, ObjectKind::event), nullptr);
    EXPECT_FALSE(CloseHandle(before));
    EXPECT_EQ(alive, 1);
    EXPECT_TRUE(CloseHandle(after));
}

TEST_F(Handles, KeepAnObjectInUseAlive) {
    const HANDLE handle = open();
    auto held = find_object(handle, ObjectKind::event);
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_EQ(alive, 1);
    held.reset();
    EXPECT_EQ(alive, 0);
}

TEST_F(Handles, ThatAreNoneAreNeverFollowed) {
    int local = 0;
    for (const HANDLE none :
         {HANDLE{nullptr}, reinterpret_cast<HANDLE>(std::intptr_t{-1}), HANDLE{&local}}) {
        SetLastError(0);
        EXPECT_FALSE(CloseHandle(none));
        EXPECT_EQ(GetLastError(), static_cast<std::uint32_t>(ERROR_INVALID_HANDLE));
        EXPECT_EQ(find_object(none, ObjectKind::event), nullptr);
    }
}

TEST(CountedString, CarriesItsLengthAndATerminator) {
    using namespace std::string_literals;
    const BSTR string = SysAllocStringLen(u"a\0b", 3);
    EXPECT_EQ(SysStringLen(string), 3U);
    EXPECT_EQ(std::u16string(string, 4), u"a\0b\0"s);
    EXPECT_EQ(reinterpret_cast<std::uint32_t*>(string)[-1], 6U);
    SysFreeString(string);
    const BSTR zeros = SysAllocStringLen(nullptr, 2);
    EXPECT_EQ(std::u16string(zeros, 3), std::u16string(3, u'\0'));
    SysFreeString(zeros);
}

TEST(CountedString, IsNullForNullAndForSizesThatDoNotFit) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysAllocStringLen(nullptr, 0x80000000), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0U);
    SysFreeString(nullptr);
    const BSTR empty = SysAllocString(u"");
    EXPECT_NE(empty, nullptr);
    EXPECT_EQ(SysStringLen(empty), 0U);
    SysFreeString(empty);
}

}  // namespace
}  // namespace tarnwillow
