#include "tarnwillow/crossprocess/instanceTable.h"

#include <algorithm>
#include <cstring>

#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/crossprocess/sharedState.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/sharedMemory.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::detail {

namespace {

constexpr char kShareName[] = "__QVN7162_INSTANCESHARE";
constexpr char kMasterMutexName[] = "__QVN7162_InstanceMasterMutex";
constexpr std::size_t kMostBytes = InstanceRecord::kTextSize - 1;

/// The window of a record that is being written, which no window has.
constexpr std::uint32_t kUnfinished = 0xFFFFFFFF;

std::uint32_t number_of(HWND window) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(window));
}

}  // namespace

InstanceText::InstanceText(char const* text) {
    if (text != nullptr) std::memcpy(text_, text, strnlen(text, kMostBytes));
}

InstanceText::InstanceText(HWND window) { GetWindowTextA(window, text_, sizeof text_); }

// A record may lack its terminator.
bool InstanceText::equals(char const (&field)[InstanceRecord::kTextSize]) const {
    return std::strncmp(text_, field, kMostBytes) == 0;
}

void InstanceText::store(char (&field)[InstanceRecord::kTextSize]) const {
    std::memcpy(field, text_, sizeof text_);
}

HWND window_of(const InstanceRecord& record) {
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(record.window));
}

namespace {

// A windowing system gives its numbers out again: the next window may have the old one's number,
// and its title, too. So the number of the process stands at the end of the title's field, behind
// the title's own end. Where there is no room, or no number, titles alone decide.
constexpr std::size_t kProcessAt = InstanceRecord::kTextSize - sizeof(std::uint32_t);

bool has_room(const InstanceRecord& record) {
    return strnlen(record.title, sizeof record.title) < kProcessAt;
}

std::uint32_t process_of(const InstanceRecord& record) {
    std::uint32_t process = 0;
    if (has_room(record)) std::memcpy(&process, record.title + kProcessAt, sizeof process);
    return process;
}

void record_title(InstanceRecord& record, HWND window) {
    InstanceText(window).store(record.title);
    const std::uint32_t process = GetWindowProcessId(window);
    if (has_room(record)) std::memcpy(record.title + kProcessAt, &process, sizeof process);
}

}  // namespace

InstanceLife life_of(const InstanceRecord& record, std::uint32_t milliseconds) {
    const HWND window = window_of(record);
    if (!IsWindow(window)) return InstanceLife::gone;
    WaitForWindowReady(window, milliseconds);
    const std::uint32_t process = process_of(record);
    const bool same = process == 0 || process == GetWindowProcessId(window);
    return same && InstanceText(window).equals(record.title) ? InstanceLife::alive
                                                             : InstanceLife::changed;
}

int Instances::count() const {
    return std::clamp(share_.count & ~kChanging, 0, InstanceShare::kMostRecords);
}

// Removing moves the records behind down, one after the other. A process that dies in there leaves
// one record unfinished, or one twice: both are seen, and removed again.

void Instances::settle() {
    if (share_.count >= 0) return;
    for (int i = 0; i < count();)
        if (is_left_over(i))
            remove(i);
        else
            ++i;
    share_.count = count();
}

bool Instances::is_left_over(int index) const {
    const InstanceRecord& record = share_.records[index];
    const bool twice =
        index > 0 && std::memcmp(&record, &share_.records[index - 1], sizeof record) == 0;
    return record.window == kUnfinished || twice;
}

void Instances::remove(int index) {
    const int last = count() - 1;
    store_first(share_.count, (last + 1) | kChanging);
    for (int i = index; i < last; ++i)
        move_down(share_.records[i]);
    store_last(share_.count, last);
}

/// Over `record` what stands behind it.
void Instances::move_down(InstanceRecord& record) {
    const InstanceRecord& source = *(&record + 1);
    store_first(record.window, kUnfinished);
    std::memcpy(&record, &source, offsetof(InstanceRecord, window));
    store_last(record.window, source.window);
}

bool Instances::add(const InstanceText& application, const InstanceText& qualifier, HWND window) {
    const int place = count();
    if (place >= InstanceShare::kMostRecords) return false;
    InstanceRecord& record = share_.records[place];
    application.store(record.application);
    qualifier.store(record.qualifier);
    if (window != nullptr) record_title(record, window);
    record.window = number_of(window);
    store_last(share_.count, place + 1);
    return true;
}

void Instances::update_title(int index) {
    InstanceRecord& record = share_.records[index];
    WaitForWindowReady(window_of(record), kReadyMilliseconds);
    record_title(record, window_of(record));
}

CAutoCleanup_InstanceTable::CAutoCleanup_InstanceTable() {
    attach();
    Add_Global_Cleanup_Object(this);
}

CAutoCleanup_InstanceTable::~CAutoCleanup_InstanceTable() { detach(); }

long CAutoCleanup_InstanceTable::attach() {
    CAutoSectionLock hold(section_, u"Attach", nullptr);
    if (attached_) return 0;
    const long result = open();
    attached_ = result == 0;
    if (!attached_) close();
    return result;
}

long CAutoCleanup_InstanceTable::open() {
    try {
        mutex_ = CreatePublicMutex(kMasterMutexName);
        const CAutoMutex hold(mutex_, kWaitForEver);
        if (!hold.Is_Held()) return E_UNEXPECTED;
        view_ = static_cast<InstanceShare*>(
            CreateSharedMemory(sizeof(InstanceShare), kShareName, &mapping_));
        return 0;  // a new share is all zeros, its count too
    } catch (long status) {
        return status;
    }
}

void CAutoCleanup_InstanceTable::detach() {
    CAutoSectionLock hold(section_, u"Detach", nullptr);
    close();
    attached_ = false;
}

void CAutoCleanup_InstanceTable::close() {
    if (mapping_ != nullptr) CloseHandle(mapping_);
    if (view_ != nullptr) UnmapViewOfFile(view_);
    if (mutex_ != nullptr) CloseHandle(mutex_);
    mapping_ = mutex_ = nullptr;
    view_ = nullptr;
}

bool CAutoCleanup_InstanceTable::is_attached() {
    CAutoSectionLock hold(section_, u"Attached", nullptr);
    return attached_;
}

CAutoCleanup_InstanceTable& instance_table() {
    static CAutoCleanup_InstanceTable table;
    return table;
}

}  // namespace tarnwillow::detail
