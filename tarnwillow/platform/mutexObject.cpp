#include "tarnwillow/platform/mutexObject.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <new>
#include <utility>

#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/forkLocks.h"
#include "tarnwillow/platform/mutexes.h"
#include "tarnwillow/platform/raceChecker.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/threadId.h"
#include "tarnwillow/platform/unload.h"

namespace tarnwillow::platform {

namespace {

constexpr std::uint32_t kMutexTag = 0x4D757478;

[[gnu::tls_model("initial-exec")]] constinit thread_local MutexObject* latest_held = nullptr;

struct AbandonAtThreadEnd {
    ~AbandonAtThreadEnd() { abandon_held_mutexes(); }
};

[[gnu::tls_model("initial-exec")]] constinit thread_local bool thread_end_prepared = false;

void prepare_thread_end() {
    if (thread_end_prepared || tarnwillow::detail::library_unloading) return;
    static thread_local AbandonAtThreadEnd at_end;
    static_cast<void>(&at_end);
    thread_end_prepared = true;
}

std::uint32_t set_up(void* memory) {
    auto* content = new (memory) MutexContent{};
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) return ERROR_NOT_ENOUGH_MEMORY;
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    const bool made = pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED) == 0 &&
                      pthread_mutex_init(&content->lock, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    content->tag = kMutexTag;
    return made ? 0 : ERROR_NOT_SUPPORTED;
}

int lock_until(pthread_mutex_t& lock, const Deadline& deadline) {
    if (deadline.never()) return pthread_mutex_lock(&lock);
    const int error = pthread_mutex_clocklock(&lock, CLOCK_MONOTONIC, deadline.moment());
    if (error == 0 || error == EOWNERDEAD) tell_race_checker_locked(&lock);
    return error;
}

// Taken before anybody else knows it.
std::uint32_t set_up_held(void* memory) {
    const std::uint32_t error = set_up(memory);
    if (error == 0) pthread_mutex_lock(&static_cast<MutexContent*>(memory)->lock);
    return error;
}

}  // namespace

// All mutexes of the process, so that one mutex has one address in it.
class MutexRegistry {
public:
    // The object that the process has for that mutex already, else `candidate`.
    std::shared_ptr<MutexObject> add(std::shared_ptr<MutexObject> candidate) {
        const std::lock_guard hold(lock_);
        for (MutexObject* known = first_; known != nullptr; known = known->next_registered_) {
            if (!known->file_.same_as(candidate->file_)) continue;
            if (auto living = known->weak_from_this().lock()) return living;
        }
        candidate->is_registered_ = true;
        candidate->next_registered_ = first_;
        if (first_ != nullptr) first_->previous_registered_ = candidate.get();
        first_ = candidate.get();
        return candidate;
    }

    void remove(MutexObject& mutex) {
        const std::lock_guard hold(lock_);
        MutexObject*& before = mutex.previous_registered_ != nullptr
                                   ? mutex.previous_registered_->next_registered_
                                   : first_;
        before = mutex.next_registered_;
        if (mutex.next_registered_ != nullptr)
            mutex.next_registered_->previous_registered_ = mutex.previous_registered_;
    }

    // The child holds nothing. A mutex without a handle, which only its holder in the parent kept,
    // stays: no object can be destroyed here.
    void forget_holders_in_child() {
        for (MutexObject* mutex = first_; mutex != nullptr; mutex = mutex->next_registered_) {
            mutex->holder_ = 0;
            mutex->depth_ = 0;
            mutex->previous_held_ = mutex->next_held_ = nullptr;
            if (mutex->self_.use_count() > 1) mutex->self_.reset();
        }
        latest_held = nullptr;
    }

    std::mutex& lock() { return lock_; }

private:
    std::mutex lock_;
    MutexObject* first_ = nullptr;
};

namespace {

MutexRegistry& registry() {
    static MutexRegistry the_registry;
    static const bool noted =
        note_fork_lock(the_registry.lock(), [] { registry().forget_holders_in_child(); });
    static_cast<void>(noted);
    return the_registry;
}

}  // namespace

MutexObject::~MutexObject() {
    if (is_registered_) registry().remove(*this);
}

std::uint32_t MutexObject::open(char16_t const* name, MutexOpening opening,
                                std::shared_ptr<MutexObject>& mutex, bool& existed) {
    const bool held = opening == MutexOpening::make_held;
    const NamedObjectRequest request{"mutex", name, sizeof(MutexContent),
                                     opening != MutexOpening::existing,
                                     held ? set_up_held : set_up};
    auto candidate = std::make_shared<MutexObject>();
    NamedObject& file = candidate->file_;
    const std::uint32_t error = *name != 0 ? file.open(request) : file.make_unnamed(request);
    if (error != 0) return error;
    if (candidate->content().tag != kMutexTag) return ERROR_FILE_INVALID;
    existed = !file.created();
    mutex = registry().add(candidate);
    if (!existed && held) mutex->note_taken(false);
    return 0;
}

Taken MutexObject::take() { return taken_by(pthread_mutex_trylock(&content().lock)); }

Taken MutexObject::wait_for(std::shared_ptr<MutexObject>& mutex, std::uint32_t milliseconds,
                            HANDLE handle, std::uint64_t closed_handles) {
    MutexObject& object = *mutex;
    Taken taken = object.taken_by(pthread_mutex_trylock(&object.content().lock), &mutex);
    if (taken == Taken::no && milliseconds != 0)
        taken = object.taken_by(object.block(Deadline(milliseconds)), &mutex);
    if (mutex == nullptr) {
        object.taken_by_handle_ = handle;
        object.closed_handles_ = closed_handles;
    }
    return taken;
}

// The way out, for a thread that is ended meanwhile, is a jump: this frame owns nothing.
int MutexObject::block(const Deadline& deadline) {
    sigjmp_buf out;
    if (sigsetjmp(out, 0) != 0) {
        forced_end.shortcut = nullptr;
        return ETIMEDOUT;
    }
    forced_end.shortcut = &out;
    int error = ETIMEDOUT;
    if (!end_is_pending()) error = lock_until(content().lock, deadline);
    forced_end.shortcut = nullptr;
    return error;
}

Taken MutexObject::taken_by(int error, std::shared_ptr<MutexObject>* reference) {
    if (error == 0) return note_taken(false, reference);
    if (error == EOWNERDEAD) {
        pthread_mutex_consistent(&content().lock);
        return note_taken(true, reference);
    }
    return error == EBUSY || error == ETIMEDOUT ? Taken::no : Taken::failed;
}

Taken MutexObject::note_taken(bool abandoned, std::shared_ptr<MutexObject>* reference) {
    const std::uint32_t thread = current_thread_id();
    if (!abandoned && holder_.load(std::memory_order_relaxed) == thread) {
        ++depth_;
        return Taken::yes;
    }
    holder_.store(thread, std::memory_order_relaxed);
    depth_ = 1;
    link_held(reference);
    if (content().abandoned != 0) abandoned = true;
    content().abandoned = 0;
    return abandoned ? Taken::abandoned : Taken::yes;
}

void MutexObject::link_held(std::shared_ptr<MutexObject>* reference) {
    prepare_thread_end();
    self_ = reference != nullptr ? std::move(*reference) : shared_from_this();
    taken_by_handle_ = nullptr;
    previous_held_ = latest_held;
    next_held_ = nullptr;
    if (latest_held != nullptr) latest_held->next_held_ = this;
    latest_held = this;
}

std::shared_ptr<MutexObject> MutexObject::unlink_held() {
    if (previous_held_ != nullptr) previous_held_->next_held_ = next_held_;
    if (next_held_ != nullptr)
        next_held_->previous_held_ = previous_held_;
    else
        latest_held = previous_held_;
    holder_.store(0, std::memory_order_relaxed);
    return std::move(self_);
}

bool MutexObject::release() {
    if (holder_.load(std::memory_order_relaxed) != current_thread_id()) return false;
    pthread_mutex_t& lock = content().lock;
    if (--depth_ > 0) return pthread_mutex_unlock(&lock) == 0;
    const auto last_use = unlink_held();
    pthread_mutex_unlock(&lock);
    wake_watchers();
    return true;
}

bool MutexObject::release_latest(HANDLE handle) {
    MutexObject* const latest = latest_held;
    return latest != nullptr && handle != nullptr && latest->taken_by_handle_ == handle &&
           latest->closed_handles_ == closed_handle_count() && latest->release();
}

void MutexObject::abandon() {
    content().abandoned = 1;
    while (depth_ > 1)
        release();
    release();
}

void MutexObject::put_back(Taken taken) {
    if (taken == Taken::abandoned) content().abandoned = 1;
    release();
}

bool MutexObject::watch(Waiter& waiter) {
    ++content().watchers;
    if (waiter.add_changes(file_.descriptor())) return true;
    --content().watchers;
    return false;
}

void MutexObject::unwatch(Waiter&) { --content().watchers; }

// The system tells them of the write, as it tells them of the end of a process that held the file.
void MutexObject::wake_watchers() {
    if (content().watchers == 0) return;
    static_cast<void>(!pwrite(file_.descriptor(), &content().change, sizeof content().change,
                              offsetof(MutexContent, change)));
}

void abandon_held_mutexes() {
    const ForcedEndPause pause;
    while (latest_held != nullptr)
        latest_held->abandon();
}

}  // namespace tarnwillow::platform
