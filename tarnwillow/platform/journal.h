// The system's journal, by the socket that it listens at.
#pragma once

#include <cstddef>
#include <string_view>

namespace tarnwillow::platform {

/// Connects to the journal, once for the process; false if there is none. `path` is its socket.
bool open_journal(char const* path = "/run/systemd/journal/socket");

/// A value may hold any bytes, line ends too. Names are upper-case letters, digits and `_`.
struct JournalField {
    std::string_view name;
    std::string_view value;
};

inline constexpr std::size_t kMostJournalFields = 8;

/// Sends one entry of at most kMostJournalFields fields; what is beyond them is left out. Never
/// waits and keeps off the heap: an entry that the journal does not take now is lost.
void send_to_journal(JournalField const* fields, std::size_t count);

}  // namespace tarnwillow::platform
