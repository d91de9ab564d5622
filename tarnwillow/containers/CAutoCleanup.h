#pragma once

#include <concepts>

#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/core/CAutoDeleteableObject.h"
#include "tarnwillow/platform/ole.h"

namespace tarnwillow {

/// Collects resources of many kinds as a function acquires them and releases them all, first added
/// first, at the end of the scope, unless Commit said that they have found other owners. A fault in
/// one release costs that one only.
///
/// The forms that take a pointer to a pointer look at it when they release, and leave it null. Mind
/// two of them: `void*` is a handle for CloseHandle, and `long` is an address for operator delete.
/// Any other pointer is refused by the compiler, that it may not pass for a handle.
///
/// An object of one thread. Add throws `long` E_OUTOFMEMORY when it cannot note the resource.
class TARNWILLOW_API CAutoCleanup : public CCollection {
public:
    CAutoCleanup() = default;
    ~CAutoCleanup();
    CAutoCleanup(const CAutoCleanup&) = delete;

    /// Word for word, as for CCollection.
    CAutoCleanup& operator=(const CAutoCleanup& other) = default;

    void Add(IUnknown* object);                ///< Release
    void Add(IUnknown** object);               ///< Release
    void Add(void* handle);                    ///< CloseHandle
    void Add(void** handle);                   ///< CloseHandle
    void Add(char16_t* string);                ///< SysFreeString
    void Add(char16_t** string);               ///< SysFreeString
    void Add(CAutoDeleteableObject* object);   ///< delete
    void Add(CAutoDeleteableObject** object);  ///< delete
    void Add(long memory);                     ///< operator delete
    void Add(long* memory);                    ///< operator delete on the address held there
    void Add(HINSTANCE module);                ///< FreeLibrary
    void Add(CRITICAL_SECTION* section);       ///< DeleteCriticalSection
    void Add(CCollection* collection);         ///< Clear; the collection itself stays

    template <class T>
    requires(!std::convertible_to<T*, IUnknown*> && !std::convertible_to<T*, CCollection*> &&
             !std::convertible_to<T*, CAutoDeleteableObject*> &&
             !std::convertible_to<T*, CRITICAL_SECTION*>) void Add(T*) = delete;
    void Add(bool) = delete;
    void Add(std::nullptr_t) = delete;

    /// Nothing will be released.
    void Commit() { armed = false; }

private:
    void add_record(long kind, void* target);

    bool armed = true;
};

}  // namespace tarnwillow
