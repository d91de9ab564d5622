#include <tarnwillow/core/diagnosticEntry.h>
#include <tarnwillow/diagnostics/logging.h>

using namespace tarnwillow;

constexpr int kFolders = 20;

void open_folder(char16_t const* path, int entries) {
    _LOG(kFolders, u"Opened %s: %d entries", path, entries);  // wide: %s is UTF-16
    _LOG(kFolders, "%d entries", entries);                    // narrow: %s is UTF-8
}

int main() { open_folder(u"/srv/music", 42); }
