#pragma once

#include <atomic>

#include "tarnwillow/platform/criticalSection.h"

namespace tarnwillow {

/// A recursive section with a name that remembers in whose name it is held. All locking inside the
/// process goes through it. Texts are held by pointer: a name must outlive the object, a requestor
/// and a qualifier must live as long as the section is held under them.
///
/// A guard that catches a fault leaves every entry that its stretch of code had made.
class TARNWILLOW_API CEasyCriticalSection {
public:
    /// Null is named "Unknown Critical Section".
    explicit CEasyCriticalSection(char16_t const* name);

    /// Nobody else may hold the section or wait for it.
    ~CEasyCriticalSection();

    /// Takes over the three texts. The target's own section goes on working.
    CEasyCriticalSection(const CEasyCriticalSection& other);
    CEasyCriticalSection& operator=(const CEasyCriticalSection& other);

    /// Waits until the section is held; always true. Only the outermost entry sets the texts. A
    /// wait of over 5,000 ms shows as a record of its own while log class 5 is on.
    bool Enter(char16_t const* requestor, char16_t const* qualifier);

    /// Enters if that takes no waiting. Success replaces the requestor, also of an outer entry.
    bool Try(char16_t const* requestor);

    /// Undoes one entry of the calling thread; does nothing for a thread that does not hold it.
    void Leave();

    /// Kernel thread id of the holder, 0 if free. A hint: it may be stale when it arrives.
    unsigned long Get_Owning_Thread_Id() const;

    /// True for any argument: a section has no tag to test.
    static bool Validate(CEasyCriticalSection* section);

    /// The text that was given, not a copy.
    char16_t const* Get_Name() const { return name.load(std::memory_order_relaxed); }

    /// Replaces the name unchecked and uncopied.
    void Set_Name(char16_t const* new_name) { name.store(new_name, std::memory_order_relaxed); }

    /// This object, for holders of a reference.
    CEasyCriticalSection* Get_Object_Ptr() { return this; }

    /// For the holder: moves the requestor from one text to another, if it shows the first.
    void Move_Requestor(char16_t const* from, char16_t const* to);

protected:
    /// Atomic: other threads and debuggers look at the texts while the holder changes them.
    using Text = std::atomic<char16_t const*>;

    /// The lock itself, and the texts that say what it is and who holds it for what.
    CRITICAL_SECTION section;
    Text name;
    Text requestor{nullptr};  ///< null while the section is free
    Text qualifier{nullptr};

private:
    void take_with_records();
    [[gnu::cold, gnu::noinline]] bool enter_with_records(char16_t const* by, char16_t const* with);
    [[gnu::cold, gnu::noinline]] bool enter_noted(char16_t const* by, char16_t const* with);
    void copy_texts(const CEasyCriticalSection& other);
    void set_holder(char16_t const* new_requestor, char16_t const* new_qualifier);
};

/// Holds a section for a scope. Does nothing for a null section, at the cost of one test: all is in
/// the header, so that the compiler keeps the object in registers.
class CAutoSectionLock {
public:
    /// For an owner that may have no section. A null or empty requestor is replaced by a text that
    /// asks why, a null qualifier by the empty text.
    CAutoSectionLock(CEasyCriticalSection* optional_section, char16_t const* by,
                     char16_t const* with)
        : section(optional_section), requestor(by), qualifier(with) {
        Lock();
    }

    /// For a section that always exists.
    CAutoSectionLock(CEasyCriticalSection& existing_section, char16_t const* by,
                     char16_t const* with)
        : CAutoSectionLock(&existing_section, by, with) {}

    ~CAutoSectionLock() { Unlock(); }

    CAutoSectionLock(const CAutoSectionLock&) = delete;
    CAutoSectionLock& operator=(const CAutoSectionLock&) = delete;

    /// Enters again after an Unlock.
    void Lock() {
        if (section == nullptr || !released) return;
        section->Enter(requestor, qualifier);
        released = false;
    }

    /// Leaves; a second call does nothing.
    void Unlock() {
        if (released) return;
        released = true;
        section->Leave();
    }

private:
    CEasyCriticalSection* section;
    char16_t const* requestor;
    char16_t const* qualifier;
    bool released = true;
};

}  // namespace tarnwillow
