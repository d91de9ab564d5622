#include "tarnwillow/platform/journal.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace tarnwillow::platform {

namespace {

std::atomic<int> journal{-1};

int connected_socket(char const* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof address.sun_path) return -1;
    std::strcpy(address.sun_path, path);
    const int file = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (file < 0) return -1;
    if (connect(file, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0)
        return file;
    close(file);
    return -1;
}

// The length of a value, least byte first, as the protocol has it.
std::uint64_t little_endian(std::uint64_t length) {
    if constexpr (std::endian::native == std::endian::little) return length;
    std::uint64_t swapped = 0;
    for (int i = 0; i < 8; ++i)
        swapped |= ((length >> (8 * i)) & 0xFF) << (8 * (7 - i));
    return swapped;
}

iovec piece(void const* bytes, std::size_t length) { return {const_cast<void*>(bytes), length}; }

}  // namespace

bool open_journal(char const* path) {
    if (journal >= 0) return true;
    const int file = connected_socket(path);
    int none = -1;
    if (file >= 0 && !journal.compare_exchange_strong(none, file)) close(file);
    return journal >= 0;
}

// Each field is its name, a line end, the value's length, the value, a line end.
void send_to_journal(JournalField const* fields, std::size_t count) {
    constexpr std::size_t kPieces = 5;
    iovec pieces[kMostJournalFields * kPieces];
    std::uint64_t lengths[kMostJournalFields];
    count = std::min(count, kMostJournalFields);
    iovec* at = pieces;
    for (std::size_t i = 0; i < count; ++i) {
        lengths[i] = little_endian(fields[i].value.size());
        *at++ = piece(fields[i].name.data(), fields[i].name.size());
        *at++ = piece("\n", 1);
        *at++ = piece(&lengths[i], sizeof lengths[i]);
        *at++ = piece(fields[i].value.data(), fields[i].value.size());
        *at++ = piece("\n", 1);
    }
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = static_cast<std::size_t>(at - pieces);
    const int saved_errno = errno;
    sendmsg(journal, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    errno = saved_errno;
}

}  // namespace tarnwillow::platform
