#include "tarnwillow/platform/multipleWait.h"

#include "tarnwillow/platform/forcedEnd.h"

namespace tarnwillow::platform {

namespace {

constexpr WaitOutcome kNothing{Taken::no, 0, false};
constexpr WaitOutcome kFailed{Taken::failed, 0, false};

WaitOutcome take_any(const WaitRequest& request) {
    const std::lock_guard hold(signal_lock());
    for (std::uint32_t i = 0; i < request.count; ++i) {
        const Taken taken = request.objects[i]->take();
        if (taken != Taken::no) return {taken, i, false};
    }
    return kNothing;
}

void put_back(const WaitRequest& request, std::uint32_t count, const Taken* taken) {
    while (count-- > 0)
        request.objects[count]->put_back(taken[count]);
}

// If it does not come about, `index` tells at which object.
WaitOutcome take_all(const WaitRequest& request) {
    const std::lock_guard hold(signal_lock());
    Taken taken[kMostWaitObjects];
    WaitOutcome outcome{Taken::yes, 0, false};
    for (std::uint32_t i = 0; i < request.count; ++i) {
        taken[i] = request.objects[i]->take();
        if (taken[i] == Taken::no || taken[i] == Taken::failed) {
            put_back(request, i, taken);
            return {taken[i], i, false};
        }
        if (taken[i] == Taken::abandoned) outcome = {Taken::abandoned, i, false};
    }
    return outcome;
}

WaitOutcome take(const WaitRequest& request) {
    return request.all ? take_all(request) : take_any(request);
}

void settle(const WaitRequest& request, const WaitOutcome& outcome) {
    if (!request.all) return request.objects[outcome.index]->settle();
    for (std::uint32_t i = 0; i < request.count; ++i)
        request.objects[i]->settle();
}

// Watches for a scope. A wait for all watches only the object that it failed at: the others may
// well be ready, and would wake it without end.
class Watch {
public:
    Watch(const WaitRequest& request, Waiter& waiter, std::uint32_t failed_at)
        : request_(request), waiter_(waiter), first_(request.all ? failed_at : 0), end_(first_) {
        const std::uint32_t end = request.all ? failed_at + 1 : request.count;
        while (end_ < end && request.objects[end_]->watch(waiter))
            ++end_;
        complete_ = end_ == end;
        const int messages = request.pump != nullptr ? request.pump->file() : -1;
        if (messages >= 0) complete_ = waiter.add_file(messages) && complete_;
    }
    ~Watch() {
        while (end_ > first_)
            request_.objects[--end_]->unwatch(waiter_);
        waiter_.forget_files();
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    bool complete() const { return complete_; }

private:
    const WaitRequest& request_;
    Waiter& waiter_;
    const std::uint32_t first_;
    std::uint32_t end_;
    bool complete_;
};

bool has_message(const WaitRequest& request) {
    return request.pump != nullptr && request.pump->waiting();
}

// Takes, watches, takes again, sleeps. True once there is an outcome.
bool one_round(const WaitRequest& request, Waiter& waiter, const Deadline& deadline,
               WaitOutcome& outcome) {
    const std::uint32_t failed_at = outcome.index;
    const Watch watch(request, waiter, failed_at);
    if (!watch.complete()) {
        outcome = kFailed;
        return true;
    }
    outcome = take(request);
    if (outcome.taken != Taken::no) return true;
    if (has_message(request)) {
        outcome = {Taken::no, 0, true};
        return true;
    }
    if (request.all && outcome.index != failed_at) return deadline.passed();
    return waiter.sleep(deadline) == Wake::interrupted;
}

WaitOutcome wait_unsettled(const WaitRequest& request) {
    WaitOutcome outcome = take(request);
    if (outcome.taken != Taken::no) return outcome;
    if (has_message(request)) return {Taken::no, 0, true};
    if (request.milliseconds == 0) return kNothing;
    const Deadline deadline(request.milliseconds);
    Waiter waiter;
    while (!one_round(request, waiter, deadline, outcome))
        if (deadline.passed()) {
            const WaitOutcome last = take(request);
            return last.taken != Taken::no ? last : kNothing;
        }
    return outcome;
}

}  // namespace

WaitOutcome wait_for_objects(const WaitRequest& request) {
    const ForcedEndPause pause;
    const WaitOutcome outcome = wait_unsettled(request);
    if (outcome.taken == Taken::yes || outcome.taken == Taken::abandoned) settle(request, outcome);
    return outcome;
}

}  // namespace tarnwillow::platform
