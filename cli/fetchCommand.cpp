#include "fetchCommand.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "command.h"
#include "download.h"
#include "tarnwillow/files/CDiskFile.h"
#include "tarnwillow/platform/clock.h"

namespace tarnwillow::cli {

namespace {

int failed(char const* what, char const* reason) {
    std::fprintf(stderr, "tarnwillow: %s: %s\n", what, reason);
    return 1;
}

/// Shows on a terminal how far a download is, now and then.
class Progress {
public:
    explicit Progress(long long announced)
        : announced_(announced), shown_(isatty(STDERR_FILENO) != 0), last_(GetTickCount()) {}

    void add(int bytes) {
        done_ += bytes;
        if (!shown_ || GetTickCount() - last_ < kInterval) return;
        last_ = GetTickCount();
        std::fprintf(stderr, "\r%.1f MB", megabytes(done_));
        if (announced_ > 0)
            std::fprintf(stderr, " of %.1f MB, %lld %%", megabytes(announced_),
                         done_ * 100 / announced_);
        drawn_ = true;
    }
    ~Progress() {
        if (drawn_) std::fputs("\r\033[K", stderr);
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    static constexpr std::uint32_t kInterval = 100;  // milliseconds
    static double megabytes(long long bytes) { return static_cast<double>(bytes) / 1e6; }

    const long long announced_;
    const bool shown_;
    std::uint32_t last_;
    long long done_ = 0;
    bool drawn_ = false;
};

/// A file, or standard output.
class Destination {
public:
    bool open(char const* file) {
        to_file_ = file != nullptr;
        return !to_file_ || file_.Open(file, true, true) == S_OK;
    }
    bool write(char const* bytes, int size) {
        if (to_file_) return file_.Write(bytes, size) == S_OK;
        const auto count = static_cast<std::size_t>(size);
        return std::fwrite(bytes, 1, count, stdout) == count;
    }
    bool finish() { return to_file_ ? file_.Close() == S_OK : std::fflush(stdout) == 0; }

private:
    CDiskFile file_;
    bool to_file_ = false;
};

bool copy_body(Download& download, Destination& to) {
    char bytes[64 * 1024];
    Progress progress(download.announced_size());
    for (;;) {
        const int count = download.read(bytes, sizeof bytes);
        if (count == 0) return true;
        progress.add(count);
        if (!to.write(bytes, count)) return false;
    }
}

void tell_answer(const Download& download) {
    std::fprintf(stderr, "status %ld\n", download.status());
    const std::string target = download.redirect_target();
    if (!target.empty()) std::fprintf(stderr, "redirects to %s\n", target.c_str());
}

int fetch(char const* url, char const* file) {
    Download download;
    if (!download.open(url)) return failed(url, download.reason().c_str());
    tell_answer(download);
    Destination to;
    if (!to.open(file)) return failed(file, "the file cannot be written");
    const bool written = copy_body(download, to);
    if (!to.finish() || !written) return failed(url, "the output could not be written");
    if (const std::string reason = download.reason(); !reason.empty())
        return failed(url, reason.c_str());
    return download.status() < 400 ? 0 : 1;
}

}  // namespace

int fetch_command(int argc, char** argv) {
    const bool to_file = argc == 3 && std::strcmp(argv[1], "-o") == 0;
    if ((argc != 1 && !to_file) || !is_url(argv[0])) return kWrongUse;
    return fetch(argv[0], to_file ? argv[2] : nullptr);
}

}  // namespace tarnwillow::cli
