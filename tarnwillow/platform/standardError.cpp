#include "tarnwillow/platform/standardError.h"

#include <unistd.h>

#include <cerrno>

#include "tarnwillow/platform/codepage.h"

namespace tarnwillow::platform {

void write_standard_error(char const* bytes, std::size_t length) {
    const int saved_errno = errno;
    while (length > 0) {
        const ssize_t written = write(STDERR_FILENO, bytes, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) break;
        bytes += written;
        length -= static_cast<std::size_t>(written);
    }
    errno = saved_errno;
}

void write_standard_error(char16_t const* text, std::size_t length) {
    for (std::size_t done = 0; done < length;) {
        char bytes[1024];
        const Conversion part = wide_to_narrow(text + done, length - done, bytes, sizeof bytes);
        write_standard_error(bytes, part.written);
        done += part.consumed;
    }
}

}  // namespace tarnwillow::platform
