#include "tarnwillow/core/CAutoDeleteableObject.h"

namespace tarnwillow {

CAutoDeleteableObject::~CAutoDeleteableObject() = default;

}  // namespace tarnwillow
