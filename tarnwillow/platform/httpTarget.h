// Checking what a caller wants to ask for, and putting it into the form of a URL.
#pragma once

#include <string>
#include <string_view>

#include "tarnwillow/platform/http.h"

namespace tarnwillow::platform {

/// The target as an absolute URL; "" if a part could not stand where it would. Bytes of the path
/// that may not stand in a request line are escaped; "%" is left alone, so what is escaped already
/// stays as it is. A fragment ("#" and what follows) never goes to a server.
std::string url_of(const HttpTarget& target);

/// The verb as it goes out: the common ones in capitals, since servers know them in no other form,
/// and all others as written. "" if it could not stand in a request.
std::string verb_of(std::string_view verb);

/// A header line in the form that the transfer takes; "" if it is none: no name, or a line end.
std::string header_line(std::string_view text);

}  // namespace tarnwillow::platform
