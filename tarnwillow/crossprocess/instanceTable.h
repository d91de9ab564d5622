// This process's attachment to the table of running instances, and the operations on its records.
#pragma once

#include "tarnwillow/containers/globalCleanup.h"
#include "tarnwillow/core/CEasyCriticalSection.h"
#include "tarnwillow/crossprocess/instanceLayout.h"
#include "tarnwillow/platform/api.h"

namespace tarnwillow::detail {

/// A text as the records hold it: cut at 255 bytes; null is empty.
class InstanceText {
public:
    explicit InstanceText(char const* text);
    explicit InstanceText(HWND window);  ///< the window's title

    bool equals(char const (&field)[InstanceRecord::kTextSize]) const;
    void store(char (&field)[InstanceRecord::kTextSize]) const;

private:
    char text_[InstanceRecord::kTextSize] = {};
};

/// What a record's window says about its instance.
enum class InstanceLife {
    gone,     ///< there is no such window
    changed,  ///< it has another title or process: the record's, or somebody else's by now
    alive,
};

/// Waits at most so long for the window's program to be ready.
InstanceLife life_of(const InstanceRecord& record, std::uint32_t milliseconds);

HWND window_of(const InstanceRecord& record);

/// The time that a program is given to be ready.
inline constexpr std::uint32_t kReadyMilliseconds = 3000;

/// The records, for the holder of the master mutex. What stands in them came from other processes.
class Instances {
public:
    explicit Instances(InstanceShare& share) : share_(share) {}

    /// Puts the records right if a process has died while it removed one. To be called first by
    /// every holder of the mutex: one test where all is well.
    void settle();

    int count() const;
    const InstanceRecord& operator[](int index) const { return share_.records[index]; }

    /// Closes up the table.
    void remove(int index);

    /// A new record at the end; false if the table is full.
    bool add(const InstanceText& application, const InstanceText& qualifier, HWND window);

    /// Records the window's title of now.
    void update_title(int index);

private:
    void move_down(InstanceRecord& record);
    bool is_left_over(int index) const;

    InstanceShare& share_;
};

/// The one object that attaches this process while the library loads.
class CAutoCleanup_InstanceTable : public CGlobalCleanupObject {
public:
    CAutoCleanup_InstanceTable();
    ~CAutoCleanup_InstanceTable();
    CAutoCleanup_InstanceTable(const CAutoCleanup_InstanceTable&) = delete;
    CAutoCleanup_InstanceTable& operator=(const CAutoCleanup_InstanceTable&) = delete;

    void _Do_Final_Cleanup() override { detach(); }

    /// 0, also if the process is attached already; E_UNEXPECTED if the master mutex cannot be had;
    /// or what was thrown on the way.
    long attach();
    void detach();
    bool is_attached();

    HANDLE master_mutex() const { return mutex_; }
    Instances instances() const { return Instances(*view_); }

private:
    long open();
    void close();

    CEasyCriticalSection section_{u"Instance table"};
    HANDLE mutex_ = nullptr;
    HANDLE mapping_ = nullptr;
    InstanceShare* view_ = nullptr;
    bool attached_ = false;
};

/// Made by the first call: the library makes it at load.
CAutoCleanup_InstanceTable& instance_table();

}  // namespace tarnwillow::detail
