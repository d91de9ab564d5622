#include "tarnwillow/containers/CAutoCleanup.h"

#include <new>

#include "tarnwillow/containers/CIterator.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/modules.h"

namespace tarnwillow {

namespace {

enum CleanupKind : long {
    kInterface = 113,
    kInterfaceAt = 114,
    kHandle = 115,
    kHandleAt = 116,
    kString = 117,
    kStringAt = 118,
    kObject = 119,
    kObjectAt = 120,
    kMemory = 121,
    kMemoryAt = 122,
    kModule = 123,
    kSection = 124,
    kCollection = 125,
};

struct CleanupRecord {
    long kind;
    void* target;
};

template <class T>
T* as(void* target) {
    return static_cast<T*>(target);
}

// Releases what stands at `place` and leaves null there.
template <class T, class Release>
void release_at(void* place, Release release) {
    T& held = *static_cast<T*>(place);
    release(held);
    held = T{};
}

void delete_address(long address) { ::operator delete(reinterpret_cast<void*>(address)); }

void release(const CleanupRecord& record) {
    void* target = record.target;
    switch (record.kind) {
        case kInterface:
            as<IUnknown>(target)->Release();
            break;
        case kInterfaceAt:
            release_at<IUnknown*>(target, [](auto* o) {
                if (o != nullptr) o->Release();
            });
            break;
        case kHandle:
            CloseHandle(target);
            break;
        case kHandleAt:
            release_at<HANDLE>(target, CloseHandle);
            break;
        case kString:
            SysFreeString(as<char16_t>(target));
            break;
        case kStringAt:
            release_at<BSTR>(target, SysFreeString);
            break;
        case kObject:
            delete as<CAutoDeleteableObject>(target);
            break;
        case kObjectAt:
            release_at<CAutoDeleteableObject*>(target, [](auto* o) { delete o; });
            break;
        case kMemory:
            ::operator delete(target);
            break;
        case kMemoryAt:
            release_at<long>(target, delete_address);
            break;
        case kModule:
            FreeLibrary(as<HINSTANCE__>(target));
            break;
        case kSection:
            DeleteCriticalSection(as<CRITICAL_SECTION>(target));
            break;
        case kCollection:
            as<CCollection>(target)->Clear();
            break;
        default:
            break;
    }
}

void Cleanup_Item(const CleanupRecord& record) {
    reporting_guard(
        ExceptionLevelHandled, u"Cleanup_Item", [&] { release(record); }, no_recovery);
}

}  // namespace

CAutoCleanup::~CAutoCleanup() {
    if (!armed) return;
    CIterator walk;
    for (void* record = walk.Iterate(this); walk.More(); record = walk.Next())
        Cleanup_Item(*static_cast<const CleanupRecord*>(record));
}

void CAutoCleanup::add_record(long kind, void* target) {
    const CleanupRecord record{kind, target};
    if (Add_Volatile(&record, sizeof record) == nullptr) throw E_OUTOFMEMORY;
}

void CAutoCleanup::Add(IUnknown* object) { add_record(kInterface, object); }
void CAutoCleanup::Add(IUnknown** object) { add_record(kInterfaceAt, object); }
void CAutoCleanup::Add(void* handle) { add_record(kHandle, handle); }
void CAutoCleanup::Add(void** handle) { add_record(kHandleAt, handle); }
void CAutoCleanup::Add(char16_t* string) { add_record(kString, string); }
void CAutoCleanup::Add(char16_t** string) { add_record(kStringAt, string); }
void CAutoCleanup::Add(CAutoDeleteableObject* object) { add_record(kObject, object); }
void CAutoCleanup::Add(CAutoDeleteableObject** object) { add_record(kObjectAt, object); }
void CAutoCleanup::Add(long memory) { add_record(kMemory, reinterpret_cast<void*>(memory)); }
void CAutoCleanup::Add(long* memory) { add_record(kMemoryAt, memory); }
void CAutoCleanup::Add(HINSTANCE module) { add_record(kModule, module); }
void CAutoCleanup::Add(CRITICAL_SECTION* section) { add_record(kSection, section); }
void CAutoCleanup::Add(CCollection* collection) { add_record(kCollection, collection); }

}  // namespace tarnwillow
