// The transfer library's result as a status. For the sources of the platform only.
#pragma once

#include <curl/curl.h>

#include "tarnwillow/platform/httpSecurity.h"

namespace tarnwillow::platform {

/// `answered`: whether any of the answer had come.
long status_of(CURLcode code, const TlsTerms& terms, bool answered);

}  // namespace tarnwillow::platform
