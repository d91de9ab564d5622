// Taking a URL apart for the HTTP client.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

/// Where a resource is. Texts are terminated.
struct InternetResourceDesc {
    char16_t Host[256];   ///< name or address, at most 254 characters
    char16_t Path[2048];  ///< with the query, at most 2046; no "/" in front, but "/" for the root
    /// As in the URL, else that of its scheme.
    std::uint16_t Port;
    bool Secure;  ///< for https only
};

/// Takes apart an http, https or ftp URL. The host ends at the first ":" or "/"; what follows a ":"
/// is read as the port's number, cut to 16 bits, and 0 if it is none. So neither a user name in
/// front of the host nor an IPv6 address in brackets has a meaning here. In the path, and only
/// there, "&lt;", "&gt;", "&amp;" and "&quot;" are decoded, in any case; query, fragment and
/// percent escapes stay as written.
///
/// E_INVALIDARG for any other scheme, a host of 255 characters or more, a port text of 256 or more,
/// a decoded path of 2047 or more, or a null pointer; `*description` is then undefined.
TARNWILLOW_API long Parse_URL(char16_t const* url, InternetResourceDesc* description);

}  // namespace tarnwillow
