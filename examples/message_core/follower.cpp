#include "follower.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "logFile.h"

namespace message_core {

namespace {

int opened(int descriptor) {
    if (descriptor < 0) throw std::system_error(errno, std::generic_category());
    return descriptor;
}

void close_all(std::initializer_list<int> descriptors) {
    for (int descriptor : descriptors)
        if (descriptor >= 0) close(descriptor);
}

}  // namespace

Follower::Follower(const std::string& path, tarnwillow_listener listener, void* context,
                   bool from_start)
    : listener_(listener), context_(context) {
    try {
        file_ = opened(open_log_file(path, false));
        changes_ = opened(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
        opened(inotify_add_watch(changes_, path.c_str(), IN_MODIFY));
        stop_ = opened(eventfd(0, EFD_CLOEXEC));
        if (!from_start) lseek(file_, 0, SEEK_END);
        thread_ = std::thread([this] { run(); });
    } catch (...) {
        close_all({file_, changes_, stop_});
        throw;
    }
}

Follower::~Follower() {
    const uint64_t one = 1;
    while (write(stop_, &one, sizeof one) < 0 && errno == EINTR) {
    }
    thread_.join();
    close_all({file_, changes_, stop_});
}

void Follower::run() {
    do {
        deliver_new_lines();
    } while (wait_for_change());
}

void Follower::deliver_new_lines() {
    struct stat about {};
    if (fstat(file_, &about) == 0 && about.st_size < lseek(file_, 0, SEEK_CUR))
        lseek(file_, 0, SEEK_SET);  // somebody emptied it
    char bytes[16384];
    ssize_t count;
    while ((count = read(file_, bytes, sizeof bytes)) > 0) {
        for (ssize_t i = 0; i < count; ++i) {
            rest_ += bytes[i];
            if (bytes[i] == '\n') deliver(rest_);
        }
    }
}

void Follower::deliver(std::string& line) {
    line.pop_back();
    listener_(++lines_, TARNWILLOW_LOG_ENTRY_NARROW, line.data(), static_cast<int64_t>(line.size()),
              0, context_);
    line.clear();
}

bool Follower::wait_for_change() {
    pollfd waits[] = {{stop_, POLLIN, 0}, {changes_, POLLIN, 0}};
    while (poll(waits, 2, -1) < 0 && errno == EINTR) {
    }
    char events[4096];
    while (read(changes_, events, sizeof events) > 0) {
    }
    return waits[0].revents == 0;
}

}  // namespace message_core
