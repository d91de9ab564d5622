// Every public header of the library.
#pragma once

#include "tarnwillow/containers/CAutoCleanup.h"
#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/containers/CIterator.h"
#include "tarnwillow/containers/globalCleanup.h"
#include "tarnwillow/core/CAutoDeleteableObject.h"
#include "tarnwillow/core/CEasyCriticalSection.h"
#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/core/frame.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/status.h"
