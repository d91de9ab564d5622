// The library's end; its flag stands in the platform layer, which minds it too.
#pragma once

#include "tarnwillow/platform/unload.h"
