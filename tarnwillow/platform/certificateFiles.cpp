#include "tarnwillow/platform/certificateFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "tarnwillow/platform/descriptor.h"

namespace tarnwillow::platform {

namespace {

constexpr off_t kLargestFile = off_t{1} << 20;
constexpr mode_t kOthersAccess = S_IRWXG | S_IRWXO;

using FolderPtr = std::unique_ptr<DIR, ReleasedBy<closedir>>;
using BioPtr = std::unique_ptr<BIO, ReleasedBy<BIO_free>>;

bool is_pem_name(std::string_view name) {
    constexpr std::string_view kEnd = ".pem";
    return name.size() > kEnd.size() && name.substr(name.size() - kEnd.size()) == kEnd;
}

char const* objection_to(const struct stat& state, bool secret) {
    if (!S_ISREG(state.st_mode)) return "it is no file";
    if (state.st_size > kLargestFile) return "it is too large";
    if (secret && state.st_uid != geteuid()) return "it belongs to another account";
    if (secret && (state.st_mode & kOthersAccess) != 0) return "others may use it too";
    return nullptr;
}

bool read_whole(int descriptor, std::string* text) {
    std::size_t filled = 0;
    while (filled < text->size()) {
        const ssize_t count = read(descriptor, text->data() + filled, text->size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
    }
    text->resize(filled);
    return true;
}

BioPtr reader_of(const std::string& text) {
    return BioPtr(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

// Without it the security library would ask for a passphrase at the terminal.
int no_passphrase(char*, int, int, void*) { return -1; }

}  // namespace

bool list_pem_files(char const* folder, std::vector<std::string>* files) {
    const FolderPtr open(opendir(folder));
    if (open == nullptr) return errno == ENOENT;
    while (const dirent* entry = readdir(open.get()))
        if (is_pem_name(entry->d_name)) files->push_back(std::string(folder) + "/" + entry->d_name);
    std::sort(files->begin(), files->end());
    return true;
}

char const* read_pem_file(char const* file, bool secret, std::string* text) {
    const Descriptor opened(open(file, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat state {};
    if (opened.get() < 0 || fstat(opened.get(), &state) != 0) return "it cannot be opened";
    if (char const* const objection = objection_to(state, secret)) return objection;
    text->resize(static_cast<std::size_t>(state.st_size));
    return read_whole(opened.get(), text) ? nullptr : "it cannot be read";
}

std::vector<CertificatePtr> read_certificates(const std::string& text) {
    std::vector<CertificatePtr> certificates;
    const BioPtr reader = reader_of(text);
    while (reader != nullptr) {
        CertificatePtr next(PEM_read_bio_X509(reader.get(), nullptr, no_passphrase, nullptr));
        if (next == nullptr) break;
        certificates.push_back(std::move(next));
    }
    ERR_clear_error();  // the end of the text counts as an error there
    return certificates;
}

KeyPtr read_key(const std::string& text) {
    const BioPtr reader = reader_of(text);
    if (reader == nullptr) return nullptr;
    KeyPtr key(PEM_read_bio_PrivateKey(reader.get(), nullptr, no_passphrase, nullptr));
    ERR_clear_error();
    return key;
}

}  // namespace tarnwillow::platform
