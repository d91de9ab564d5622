// A mutex of the system in memory that processes share, as a handle's object.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "tarnwillow/platform/namedObject.h"
#include "tarnwillow/platform/waitable.h"

namespace tarnwillow::platform {

/// Content of a mutex's file. It is the same for all processes that run at a time, and is never
/// kept longer.
struct MutexContent {
    std::uint32_t tag;
    std::uint32_t abandoned;              ///< the next holder is told; changed by the holder only
    std::atomic<std::uint32_t> watchers;  ///< waits for this among other objects, in all processes
    std::uint32_t change;                 ///< written to, through the file, to wake those
    pthread_mutex_t lock;
};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

/// What happens to a mutex that does not exist yet: nothing, or it is made, or made and taken.
enum class MutexOpening { existing, make, make_held };

/// One for each mutex in a process, however many handles it has: the system's list of held mutexes
/// knows a mutex by its address.
class MutexObject : public Waitable, public std::enable_shared_from_this<MutexObject> {
public:
    MutexObject() : Waitable(ObjectKind::mutex) {}
    ~MutexObject() override;

    /// The mutex of that name, or one without a name if `name` is empty. Gives 0 or an error
    /// number, and in `existed` whether it was there before. Throws std::bad_alloc.
    static std::uint32_t open(char16_t const* name, MutexOpening opening,
                              std::shared_ptr<MutexObject>& mutex, bool& existed);

    Taken take() override;
    void put_back(Taken taken) override;
    bool watch(Waiter& waiter) override;
    void unwatch(Waiter& waiter) override;

    /// Waits for the mutex alone, found behind `handle` when so many handles were closed. Takes the
    /// reference over if the thread did not hold the mutex before.
    static Taken wait_for(std::shared_ptr<MutexObject>& mutex, std::uint32_t milliseconds,
                          HANDLE handle, std::uint64_t closed_handles);

    /// Zero in this word means that just now nobody seems to hold the mutex, in any process.
    std::int32_t const& holder_word() const { return content().lock.__data.__lock; }

    /// False if the calling thread does not hold it.
    bool release();

    /// Releases the mutex that the calling thread took last if it took it by this handle and the
    /// handle is certain to be open; so the handle need not be looked up.
    static bool release_latest(HANDLE handle);

    /// Releases what the calling thread holds of it, for the next holder to be told.
    void abandon();

private:
    friend class MutexRegistry;

    MutexContent& content() const { return *static_cast<MutexContent*>(file_.content()); }
    Taken taken_by(int error, std::shared_ptr<MutexObject>* reference = nullptr);
    Taken note_taken(bool abandoned, std::shared_ptr<MutexObject>* reference = nullptr);
    void wake_watchers();
    int block(const Deadline& deadline);
    void link_held(std::shared_ptr<MutexObject>* reference);
    std::shared_ptr<MutexObject> unlink_held();

    NamedObject file_;
    bool is_registered_ = false;
    MutexObject* previous_registered_ = nullptr;
    MutexObject* next_registered_ = nullptr;

    // The holder's own.
    std::atomic<std::uint32_t> holder_{0};  // thread id; 0 if no thread of this process holds it
    std::uint32_t depth_ = 0;
    std::shared_ptr<MutexObject> self_;  // keeps the mapping while the mutex is held
    MutexObject* previous_held_ = nullptr;
    MutexObject* next_held_ = nullptr;
    HANDLE taken_by_handle_ = nullptr;
    std::uint64_t closed_handles_ = 0;  // when it was taken
};

}  // namespace tarnwillow::platform
