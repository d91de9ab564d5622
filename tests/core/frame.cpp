#include "tarnwillow/core/frame.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/failingAllocator.h"
#include "support/guardPage.h"
#include "support/reports.h"
#include "tarnwillow/core/diagnosticEntry.h"

namespace tarnwillow {
namespace {

TEST(Status, CodesCompareAsNumbersOf32Bits) {
    EXPECT_EQ(HRESULT_FROM_WIN32(5), status(0x80070005));
    EXPECT_LT(HRESULT_FROM_WIN32(5), 0);
    EXPECT_EQ(HRESULT_FROM_WIN32(14), E_OUTOFMEMORY);
    EXPECT_EQ(HRESULT_FROM_WIN32(0), 0);
    EXPECT_EQ(HRESULT_FROM_WIN32(E_FAIL), E_FAIL);
    EXPECT_EQ(HRESULT_FROM_WIN32(0x12345), status(0x80072345));
    EXPECT_EQ(static_cast<std::int32_t>(E_UNEXPECTED), static_cast<std::int32_t>(0x8000FFFF));
}

TEST(AllocationProcedures, GiveNullWithoutMemoryAndNeverThrow) {
    const test::FailingAllocator failing;
    EXPECT_EQ(Default_Allocation_ProcPtr(16), nullptr);
    EXPECT_EQ(failing.refused(), 1u);
}

TEST(AllocationProcedures, GiveMemoryThatTheirPartnerFrees) {
    const long before = test::live_allocations();
    void* memory = Default_Allocation_ProcPtr(1000);
    ASSERT_NE(memory, nullptr);
    Default_Free_ProcPtr(memory);
    EXPECT_EQ(test::live_allocations(), before);
    __COM_Free_Proc(__COM_Alloc_Proc(0));
}

TEST(AllocationProcedures, FreeingAWildPointerIsReportedAndEndsQuietly) {
    if (test::address_checks()) return;  // the sanitizer's own free would end the process
    const test::ReportCollector collector;
    void* wild = reinterpret_cast<void*>(0x7FFFFFFFF120);
    Default_Free_ProcPtr(wild);
    __COM_Free_Proc(wild);
    EXPECT_EQ(collector.names(), u"Default_Free_ProcPtr,__COM_Free_Proc");
    EXPECT_EQ(collector.reports()[0].level, ExceptionLevelSerious);
    EXPECT_EQ(collector.reports()[1].level, ExceptionLevelHandled);
}

TEST(Tag, TestReadsAnyPointerWithoutReport) {
    const test::ReportCollector collector;
    const test::GuardPage page(4);
    *page.as<std::uint32_t>() = kTagAlive;
    EXPECT_TRUE(detail::has_living_tag(page.begin()));
    *page.as<std::uint32_t>() = kTagDestroyed;
    EXPECT_FALSE(detail::has_living_tag(page.begin()));
    EXPECT_FALSE(detail::has_living_tag(page.end()));
    EXPECT_FALSE(detail::has_living_tag(nullptr));
    EXPECT_FALSE(detail::has_living_tag(reinterpret_cast<void*>(0xFFFFFFFFFFFF0000)));
    EXPECT_EQ(collector.names(), u"");
}

TEST(DiagnosticEntries, DropLinesOfClassesThatAreOffWithoutTouchingTheFormat) {
    char const* unreadable = reinterpret_cast<char const*>(1);
    _LOG(0, unreadable);
    _LOG(22, unreadable);
    for (int log_class : {-1, 0, 21, 22, 1000})
        EXPECT_FALSE(Log_Class_Enabled(log_class));
}

TEST(DiagnosticEntries, ReportGivesBackTheResult) {
    EXCEPTION_RECORD record{EXCEPTION_THROWN_VALUE, nullptr, nullptr};
    EXCEPTION_POINTERS pointers{&record, nullptr};
    EXPECT_EQ(Handle_Exception(ExceptionLevelValidation, u"test", &pointers, 5), 5);
}

}  // namespace
}  // namespace tarnwillow
