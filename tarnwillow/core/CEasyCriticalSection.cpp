#include "tarnwillow/core/CEasyCriticalSection.h"

#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/core/heldLocks.h"
#include "tarnwillow/core/logClassState.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow {

namespace {

constexpr std::uint32_t kSpinCount = 4000;
constexpr std::uint32_t kLongWaitMilliseconds = 5000;
constexpr char16_t kUnnamedRequestor[] = u"UNNAMED CRITICAL SECTION REQUSTOR! WHY?";

bool enabled() { return detail::class_enabled(kConnectionHandlerThreadsExtended); }

[[gnu::cold, gnu::noinline]] void write_line() { _LOG(kConnectionHandlerThreadsExtended, ""); }

void write_record() {
    if (enabled()) write_line();
}

char16_t const* or_unnamed(char16_t const* requestor) {
    return requestor != nullptr && *requestor != 0 ? requestor : kUnnamedRequestor;
}

char16_t const* or_empty(char16_t const* qualifier) {
    return qualifier != nullptr ? qualifier : u"";
}

// What a guard calls for an entry that a fault jumped over.
void leave_section(void* section) { static_cast<CEasyCriticalSection*>(section)->Leave(); }

void record_wait(std::uint32_t started) {
    if (!enabled()) return;
    const std::uint32_t waited = GetTickCount() - started;
    write_record();
    if (waited > kLongWaitMilliseconds) write_record();
}

}  // namespace

CEasyCriticalSection::CEasyCriticalSection(char16_t const* section_name)
    : name(section_name != nullptr ? section_name : u"Unknown Critical Section") {
    write_record();
    InitializeCriticalSectionAndSpinCount(&section, kSpinCount);
}

CEasyCriticalSection::~CEasyCriticalSection() {
    detail::forget_lock(this);
    reporting_guard(
        ExceptionLevelHandled, u"~CEasyCriticalSection",
        [this] {
            write_record();
            DeleteCriticalSection(&section);
        },
        no_recovery);
}

CEasyCriticalSection::CEasyCriticalSection(const CEasyCriticalSection& other) {
    InitializeCriticalSectionAndSpinCount(&section, kSpinCount);
    copy_texts(other);
}

CEasyCriticalSection& CEasyCriticalSection::operator=(const CEasyCriticalSection& other) {
    copy_texts(other);
    return *this;
}

void CEasyCriticalSection::copy_texts(const CEasyCriticalSection& other) {
    name.store(other.name.load());
    requestor.store(other.requestor.load());
    qualifier.store(other.qualifier.load());
}

void CEasyCriticalSection::set_holder(char16_t const* new_requestor,
                                      char16_t const* new_qualifier) {
    requestor.store(new_requestor, std::memory_order_relaxed);
    qualifier.store(new_qualifier, std::memory_order_relaxed);
}

// The clock is read only where there is a wait to measure.
void CEasyCriticalSection::take_with_records() {
    write_record();
    if (platform::try_enter(section, platform::current_thread_id())) return write_record();
    const std::uint32_t started = GetTickCount();
    EnterCriticalSection(&section);
    record_wait(started);
}

bool CEasyCriticalSection::enter_with_records(char16_t const* by, char16_t const* with) {
    detail::note_lock_entered(this, leave_section);
    return enter_noted(by, with);
}

bool CEasyCriticalSection::enter_noted(char16_t const* by, char16_t const* with) {
    take_with_records();
    if (!platform::is_nested(section)) set_holder(or_unnamed(by), or_empty(with));
    return true;
}

// What is rare lies in functions of their own, called last: in this one it would cost registers to
// save. The texts are read ahead of the entry, since no read overtakes it.
bool CEasyCriticalSection::Enter(char16_t const* new_requestor, char16_t const* new_qualifier) {
    const std::uint32_t thread = platform::known_thread_id();
    if (thread == 0 || enabled() || !detail::quickly_note_lock_entered(this, leave_section))
        return enter_with_records(new_requestor, new_qualifier);
    if (platform::enter_again(section, thread)) return true;
    char16_t const* const by = or_unnamed(new_requestor);
    char16_t const* const with = or_empty(new_qualifier);
    if (!platform::take(section, thread)) return enter_noted(by, with);
    set_holder(by, with);
    return true;
}

bool CEasyCriticalSection::Try(char16_t const* new_requestor) {
    write_record();
    detail::note_lock_entered(this, leave_section);
    if (!platform::try_enter(section, platform::current_thread_id())) {
        detail::note_lock_left(this);
        return false;
    }
    set_holder(or_unnamed(new_requestor), nullptr);
    write_record();
    return true;
}

void CEasyCriticalSection::Leave() {
    const std::uint32_t owner = platform::section_owner(section);
    if (owner == 0 || owner != platform::known_thread_id()) return;
    if (!platform::leave_nested(section)) {
        // Cleared while the section is still held: behind the leave they are the next holder's.
        set_holder(nullptr, nullptr);
        platform::give_up(section);
    }
    detail::note_lock_left(this);
    if (enabled()) write_line();
}

unsigned long CEasyCriticalSection::Get_Owning_Thread_Id() const {
    return platform::section_owner(section);
}

void CEasyCriticalSection::Move_Requestor(char16_t const* from, char16_t const* to) {
    if (requestor.load(std::memory_order_relaxed) == from)
        requestor.store(to, std::memory_order_relaxed);
}

bool CEasyCriticalSection::Validate(CEasyCriticalSection*) { return true; }

}  // namespace tarnwillow
