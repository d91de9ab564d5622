#include "tarnwillow/platform/httpAuthorities.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <sys/stat.h>

#include <mutex>

namespace tarnwillow::platform {

namespace {

using BioPtr = std::unique_ptr<BIO, ReleasedBy<BIO_free>>;

/// A file as it was at some time.
struct FileState {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;
    timespec changed{};

    bool operator==(const FileState& other) const {
        return device == other.device && inode == other.inode && size == other.size &&
               changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
    }
};

bool look_at(char const* file, FileState* state) {
    struct stat about {};
    if (stat(file, &about) != 0) return false;
    *state = {about.st_dev, about.st_ino, about.st_size, about.st_ctim};
    return true;
}

class Cache {
public:
    Authorities find(const FileState& state) {
        const std::lock_guard hold(lock_);
        return state_ == state ? list_ : nullptr;
    }
    void keep(const FileState& state, const Authorities& list) {
        const std::lock_guard hold(lock_);
        state_ = state;
        list_ = list;
    }

private:
    std::mutex lock_;
    FileState state_;
    Authorities list_;
};

Cache& cache() {
    static Cache the_cache;
    return the_cache;
}

bool is_end_of_file() {
    const unsigned long error = ERR_peek_last_error();
    return ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE;
}

Authorities read(char const* file, const HttpCancellation& cancellation) {
    auto list = std::make_shared<std::vector<CertificatePtr>>();
    const BioPtr reader(BIO_new_file(file, "re"));
    bool more = reader != nullptr;
    while (more && !cancellation.cancelled()) {
        ERR_clear_error();
        CertificatePtr next(PEM_read_bio_X509_AUX(reader.get(), nullptr, nullptr, nullptr));
        more = next != nullptr || !is_end_of_file();
        if (next != nullptr) list->push_back(std::move(next));
    }
    ERR_clear_error();
    return reader == nullptr || cancellation.cancelled() ? nullptr : list;
}

}  // namespace

// Two threads may both read the file at first: so neither has to wait and cannot be woken.
Authorities authorities_of(char const* file, const HttpCancellation& cancellation) {
    FileState state;
    if (cancellation.cancelled() || !look_at(file, &state)) return nullptr;
    if (Authorities known = cache().find(state)) return known;
    Authorities list = read(file, cancellation);
    if (list != nullptr) cache().keep(state, list);
    return list;
}

}  // namespace tarnwillow::platform
