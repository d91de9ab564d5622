// A thread that this library started, as a handle's object.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "tarnwillow/platform/threads.h"
#include "tarnwillow/platform/waitable.h"

namespace tarnwillow::platform {

class ThreadObject : public SignalObject {
public:
    ThreadObject(ThreadProcedure procedure, void* argument, bool gate_closed);
    ~ThreadObject() override;

    /// 0, or a value of `errno`. The thread keeps `self` until it ends.
    static int start(const std::shared_ptr<ThreadObject>& self, unsigned int stack_size);

    /// The calling thread's, or null.
    static ThreadObject* current();

    Taken take() override;
    void settle() override;

    std::uint32_t id() const { return id_; }
    std::uint32_t exit_code();
    bool end_by_force(std::uint32_t code);

    std::uint32_t set_gate(bool closed);
    void pass_gate();
    void announce_start();
    void wait_for_start();

private:
    static void* run(void* start);
    unsigned int call_procedure();
    void finish(std::uint32_t code);
    bool is_of_this_process() const { return generation_ == fork_generation(); }

    const ThreadProcedure procedure_;
    void* const argument_;
    const std::uint32_t generation_ = fork_generation();
    pthread_t thread_{};
    std::atomic<std::uint32_t> id_{0};  // 0 until the thread runs
    std::atomic<bool> gate_closed_;
    std::atomic<bool> started_{false};

    // Under the signal lock.
    bool finished_ = false;
    bool forced_ = false;
    std::uint32_t forced_code_ = 0;
    std::uint32_t exit_code_ = STILL_ACTIVE;

    std::mutex joining_;
    bool joined_ = false;
};

}  // namespace tarnwillow::platform
