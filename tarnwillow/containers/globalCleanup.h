// The last call of the library's static objects, ahead of their destructors.
#pragma once

#include "tarnwillow/containers/itemPool.h"

namespace tarnwillow {

/// A static object that wants a last call when the library unloads. One that is destroyed before
/// gets none: a host's own static objects go first, and call it from their destructors.
class TARNWILLOW_API CGlobalCleanupObject {
public:
    CGlobalCleanupObject() = default;
    /// A copy is an object of its own, which nobody has registered.
    CGlobalCleanupObject(const CGlobalCleanupObject&) {}
    CGlobalCleanupObject& operator=(const CGlobalCleanupObject&) { return *this; }

    /// Releases what the object holds. May run twice, in the cleanup pass and from the object's own
    /// destructor, and is harmless the second time.
    virtual void _Do_Final_Cleanup() = 0;

protected:
    ~CGlobalCleanupObject();

private:
    friend TARNWILLOW_API void Add_Global_Cleanup_Object(CGlobalCleanupObject* object);

    bool registered = false;
};

/// Puts the object at the end of the cleanup list, by pointer. Without memory it is not registered,
/// and nothing tells. For static construction, while one thread runs: it takes no lock.
TARNWILLOW_API void Add_Global_Cleanup_Object(CGlobalCleanupObject* object);

/// Calls _Do_Final_Cleanup of every registered object in order of registration; a fault ends that
/// object's cleanup only. Then the list goes, so that a second pass finds nothing; one that starts
/// within an object's cleanup does the rest of the first. With `keep_pools` false the item pools go
/// too, whatever lists are alive.
TARNWILLOW_API void Run_Global_Cleanup(bool keep_pools);

/// Ties the item pools into the cleanup pass: they go with the last list.
class CAutoCleanupPools : public CGlobalCleanupObject {
public:
    CAutoCleanupPools() { Add_Global_Cleanup_Object(this); }
    ~CAutoCleanupPools() { CAutoCleanupPools::_Do_Final_Cleanup(); }
    CAutoCleanupPools(const CAutoCleanupPools&) = delete;
    CAutoCleanupPools& operator=(const CAutoCleanupPools&) = delete;
    void _Do_Final_Cleanup() override { detail::release_pools_with_last_collection(); }
};

}  // namespace tarnwillow
