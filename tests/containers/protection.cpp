#include <gtest/gtest.h>

#include <atomic>
#include <semaphore>
#include <thread>

#include "support/failingAllocator.h"
#include "support/lists.h"
#include "support/logCollector.h"
#include "tarnwillow/containers/CHashedCollection.h"

namespace tarnwillow {
namespace {

// Protects a container in a thread of its own until told to let go.
template <class Container>
class Protector {
public:
    explicit Protector(Container& list)
        : thread_([this, &list] {
              list.Protect(u"protector", 0);
              held_.release();
              let_go_.acquire();
              list.Unprotect();
          }) {
        held_.acquire();
    }
    ~Protector() {
        let_go();
        thread_.join();
    }
    void let_go() { let_go_.release(); }

private:
    std::binary_semaphore held_{0};
    std::counting_semaphore<4> let_go_{0};
    std::thread thread_;
};

template <class Container>
class ProtectOf : public testing::Test {
protected:
    Container list;
};
using Containers = testing::Types<CCollection, CHashedCollection>;
TYPED_TEST_SUITE(ProtectOf, Containers);

TYPED_TEST(ProtectOf, NestsInOneThreadAndStaysAsALock) {
    TypeParam& list = this->list;
    EXPECT_FALSE(list.Has_Protection());
    EXPECT_EQ(list.Unprotect(), E_UNEXPECTED);
    EXPECT_EQ(list.Protect(nullptr, 0), S_OK);
    EXPECT_EQ(list.Protect(u"again", 0), S_OK);
    EXPECT_EQ(list.Unprotect(), S_OK);
    EXPECT_EQ(list.Unprotect(), S_OK);
    EXPECT_EQ(list.Unprotect(), E_UNEXPECTED);
    EXPECT_TRUE(list.Has_Protection());
}

TYPED_TEST(ProtectOf, AnswersWithinItsTimeOutWhileAnotherThreadHolds) {
    TypeParam& list = this->list;
    const Protector protector(list);
    EXPECT_EQ(list.Protect(u"test", 0), E_FAIL);
    EXPECT_EQ(list.Protect(u"test", 20), WAIT_TIMEOUT);
    EXPECT_EQ(list.Unprotect(), E_UNEXPECTED);
}

TYPED_TEST(ProtectOf, GetsTheLockWithinItsTimeOut) {
    TypeParam& list = this->list;
    Protector protector(list);
    protector.let_go();
    EXPECT_EQ(list.Protect(u"test", 60000), S_OK);
    EXPECT_EQ(list.Unprotect(), S_OK);
}

TYPED_TEST(ProtectOf, CutsARequestorThatDoesNotFit) {
    TypeParam& list = this->list;
    EXPECT_EQ(list.Protect(std::u16string(5000, u'x').c_str(), 0), S_OK);
    EXPECT_EQ(list.Unprotect(), S_OK);
}

TYPED_TEST(ProtectOf, WithoutMemoryForTheLockTellsSo) {
    TypeParam& list = this->list;
    {
        const test::FailingAllocator failing;
        EXPECT_EQ(list.Protect(u"test", 0), E_OUTOFMEMORY);
    }
    EXPECT_FALSE(list.Has_Protection());
    EXPECT_EQ(list.Protect(u"test", 0), S_OK);
}

TEST(Protect, MakesOneLockForThreadsThatComeAtOnce) {
    for (int round = 0; round < 200; ++round) {
        CCollection list;
        std::atomic<int> inside{0};
        std::atomic<bool> overlap{false};
        auto work = [&] {
            while (list.Protect(u"test", 1000) != S_OK) {
            }
            if (++inside != 1) overlap = true;
            --inside;
            list.Unprotect();
        };
        std::thread a(work);
        std::thread b(work);
        a.join(), b.join();
        ASSERT_FALSE(overlap);
    }
}

TEST(Protect, BracketsASequenceAmongThreads) {
    CCollection list;
    list.Protect(u"test", 0);
    list.Unprotect();
    auto work = [&] {
        for (int i = 0; i < 2000; ++i) {
            list.Protect(u"pair", 10000);
            list.Add(1);
            list.Add(2);
            list.Unprotect();
            list.Pop();
        }
    };
    std::thread a(work);
    std::thread b(work);
    a.join(), b.join();
    EXPECT_EQ(list.Entries(), 4000);
}

unsigned long throw_status(void*, unsigned long) { throw long{E_FAIL}; }

TEST(Protect, ThrownValueLeavesTheLockFree) {
    CCollection list;
    list.Add(1);
    list.Protect(u"test", 0);
    list.Unprotect();
    EXPECT_THROW(list.Contains_Ex(throw_status, nullptr), long);
    long other = E_FAIL;
    std::thread([&] {
        other = list.Protect(u"other", 0);
        list.Unprotect();
    }).join();
    EXPECT_EQ(other, S_OK);
}

TEST(Protect, ShowsAnEmptyRequestorWhileItHolds) {
    struct Section : CEasyCriticalSection {
        Section() : CEasyCriticalSection(nullptr) {}
        using CEasyCriticalSection::requestor;
    } section;
    std::atomic<CEasyCriticalSection*> lock{&section};
    char16_t buffer[detail::kTextRoom];
    EXPECT_EQ(detail::protect({lock, u"", u"Requestor: ", buffer}, u"test", 0), S_OK);
    EXPECT_EQ(section.requestor, buffer);
    EXPECT_EQ(buffer[0], 0);
    EXPECT_EQ(detail::leave_protected(&section), S_OK);
}

TEST(Protect, CoversTheMakingOfAnItem) {
    struct : CCollection {
        using CCollection::CreateNewItem;
        using CCollection::DeleteItem;
    } list;
    list.Protect(u"test", 0);
    list.Unprotect();
    const test::LogCollector records;
    list.DeleteItem(list.CreateNewItem(nullptr, nullptr, 0, 0));
    EXPECT_EQ(records.lines().size(), 3u);  // two of an entry, one of a leave
}

TEST(Protect, ListMayGoWhileItsThreadProtectsIt) {
    CCollection list;
    list.Add(1);
    list.Protect(u"test", 0);
}

}  // namespace
}  // namespace tarnwillow
