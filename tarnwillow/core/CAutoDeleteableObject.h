#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Root of the classes that a scoped owner deletes without knowing them. It has no fields, and its
/// only virtual operation is its destructor.
class TARNWILLOW_API CAutoDeleteableObject {
public:
    CAutoDeleteableObject() = default;
    /// There is nothing to copy.
    CAutoDeleteableObject(const CAutoDeleteableObject&) = default;
    CAutoDeleteableObject& operator=(const CAutoDeleteableObject&) = default;
    virtual ~CAutoDeleteableObject();
};

}  // namespace tarnwillow
