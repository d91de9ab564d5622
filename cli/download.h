// From a URL to bytes.
#pragma once

#include <string>

#include "tarnwillow/network/CHTTPConnection.h"
#include "tarnwillow/text/CSmartBuffer.h"

namespace tarnwillow::cli {

/// Whether an argument means a document of a web server, not a file.
bool is_url(char const* argument);

/// One GET. Redirects are not followed.
class Download {
public:
    /// Asks for the URL. False if there was no answer: `reason` tells why.
    bool open(char const* url);

    /// Of the answer. Texts have "?" in place of control characters.
    long status() const { return status_; }
    std::string redirect_target() const;
    long long announced_size() { return connection_.Get_Content_Length(); }

    /// The next bytes of the body; 0 at its end, and if it broke off: then `reason` is not empty.
    int read(char* bytes, int size) { return connection_.Read_Next_Chunk(bytes, size, nullptr); }

    /// The whole body. False if it broke off.
    bool read_into(CSmartBuffer& buffer);

    std::string reason() const;

private:
    CHTTPConnection connection_;
    std::string refusal_;
    long status_ = 0;
};

}  // namespace tarnwillow::cli
