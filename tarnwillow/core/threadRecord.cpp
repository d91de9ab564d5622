#include "tarnwillow/core/threadRecord.h"

#include <atomic>
#include <mutex>
#include <new>

#include "tarnwillow/core/frame.h"
#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/forkLocks.h"
#include "tarnwillow/platform/unload.h"

namespace tarnwillow::detail {

namespace {

struct Row {
    ThreadRecord record;
    bool ended;  // under the table's lock
    Row* next;   // of the rows on the heap
};

constexpr int kRows = 100;

[[gnu::tls_model("initial-exec")]] constinit thread_local ThreadRecord* own_record = nullptr;
[[gnu::tls_model("initial-exec")]] constinit thread_local bool thread_ended = false;

ThreadRecord static_record{};
std::atomic<bool> static_record_given{false};

// The records of threads that this library did not start.
class ForeignTable {
public:
    Row* take() {
        const std::lock_guard hold(lock_);
        Row* row = next_row();
        if (row == nullptr) return nullptr;
        row->ended = false;
        row->record = {kTagAlive, 0, 0};
        return row;
    }

    void mark_ended(Row& row) {
        const std::lock_guard hold(lock_);
        row.ended = true;
    }

    // The only thread of the child is the one that has forked.
    void mark_all_but_own() {
        for (int i = 0; i < used_; ++i)
            rows_[i].ended = &rows_[i].record != own_record;
        for (Row* row = heap_; row != nullptr; row = row->next)
            row->ended = &row->record != own_record;
    }

    int used() {
        const std::lock_guard hold(lock_);
        return used_;
    }

    std::mutex& lock() { return lock_; }

private:
    Row* next_row() {
        if (used_ < kRows) return &rows_[used_++];
        for (Row& row : rows_)
            if (row.ended) return &row;
        for (Row* row = heap_; row != nullptr; row = row->next)
            if (row->ended) return row;
        Row* const row = new (std::nothrow) Row{};
        if (row == nullptr) return nullptr;
        row->next = heap_;
        heap_ = row;
        return row;
    }

    std::mutex lock_;
    Row rows_[kRows] = {};
    int used_ = 0;
    Row* heap_ = nullptr;
};

ForeignTable& foreign_table() {
    static ForeignTable table;
    static const bool noted =
        platform::note_fork_lock(table.lock(), [] { foreign_table().mark_all_but_own(); });
    static_cast<void>(noted);
    return table;
}

// Gives the row back when the thread ends.
struct RowOfThread {
    Row* row = nullptr;
    ~RowOfThread() {
        const platform::ForcedEndPause pause;
        own_record = nullptr;
        thread_ended = true;
        if (row != nullptr) foreign_table().mark_ended(*row);
    }
};

ThreadRecord* make_record() {
    const platform::ForcedEndPause pause;
    install_static_thread_record();
    if (own_record != nullptr || thread_ended) return own_record;
    Row* const row = foreign_table().take();
    if (row == nullptr) return nullptr;
    own_record = &row->record;
    if (library_unloading) return own_record;
    static thread_local RowOfThread row_of_thread;
    row_of_thread.row = row;
    return own_record;
}

}  // namespace

ThreadRecord* thread_record() {
    ThreadRecord* const record = own_record;
    return record != nullptr && record->tag == kTagAlive ? record : make_record();
}

void set_thread_record(ThreadRecord* record) { own_record = record; }

void install_static_thread_record() {
    if (static_record_given.exchange(true)) return;
    static_record = {kTagAlive, 0, 0};
    own_record = &static_record;
}

int used_thread_rows() { return foreign_table().used(); }

}  // namespace tarnwillow::detail
