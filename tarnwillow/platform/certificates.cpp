#include "tarnwillow/platform/certificates.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "tarnwillow/platform/certificateFiles.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

bool is_plain_name(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos;
}

bool is_set(char const* variable) { return variable != nullptr && variable[0] != 0; }

/// The folder of a store; false if there is none, or its path is too long.
bool store_folder(char const* name, char (&folder)[PATH_MAX]) {
    int length = -1;
    if (char const* stores = secure_getenv("TARNWILLOW_CERTIFICATES"); is_set(stores))
        length = std::snprintf(folder, sizeof folder, "%s/%s", stores, name);
    else if (char const* config = secure_getenv("XDG_CONFIG_HOME"); is_set(config))
        length =
            std::snprintf(folder, sizeof folder, "%s/tarnwillow/certificates/%s", config, name);
    else if (char const* home = secure_getenv("HOME"); is_set(home))
        length = std::snprintf(folder, sizeof folder, "%s/.config/tarnwillow/certificates/%s", home,
                               name);
    return length > 0 && static_cast<std::size_t>(length) < sizeof folder;
}

bool is_unit(X509_NAME_ENTRY const* entry, std::string_view unit) {
    unsigned char* utf8 = nullptr;
    const int length = ASN1_STRING_to_UTF8(&utf8, X509_NAME_ENTRY_get_data(entry));
    if (length < 0) return false;
    const bool equal = std::string_view(reinterpret_cast<char const*>(utf8),
                                        static_cast<std::size_t>(length)) == unit;
    OPENSSL_free(utf8);
    return equal;
}

// A name may have several units.
bool issuer_has_unit(X509 const* certificate, std::string_view unit) {
    X509_NAME const* const issuer = X509_get_issuer_name(certificate);
    int at = -1;
    while ((at = X509_NAME_get_index_by_NID(issuer, NID_organizationalUnitName, at)) >= 0)
        if (is_unit(X509_NAME_get_entry(issuer, at), unit)) return true;
    return false;
}

bool is_valid_now(X509 const* certificate) {
    return X509_cmp_current_time(X509_get0_notBefore(certificate)) < 0 &&
           X509_cmp_current_time(X509_get0_notAfter(certificate)) > 0;
}

char const* load(char const* file, ClientCertificate* loaded) {
    std::string text;
    if (char const* const objection = read_pem_file(file, true, &text)) return objection;
    loaded->authorities = read_certificates(text);
    loaded->key = read_key(text);
    OPENSSL_cleanse(text.data(), text.size());
    if (loaded->authorities.empty()) return "it has no certificate";
    loaded->certificate = std::move(loaded->authorities.front());
    loaded->authorities.erase(loaded->authorities.begin());
    return nullptr;
}

/// Gives what is wrong with a file of that issuer, else null. `*found` is set if it is the one.
char const* examine(char const* file, char const* unit, std::shared_ptr<ClientCertificate>* found) {
    auto candidate = std::make_shared<ClientCertificate>();
    if (char const* const objection = load(file, candidate.get())) return objection;
    X509* const certificate = candidate->certificate.get();
    if (!issuer_has_unit(certificate, unit)) return nullptr;
    if (candidate->key == nullptr) return "it has no key that can be read without a passphrase";
    const bool fits = X509_check_private_key(certificate, candidate->key.get()) == 1;
    ERR_clear_error();
    if (!fits) return "the key is another certificate's";
    if (!is_valid_now(certificate)) return "the certificate is out of date";
    *found = std::move(candidate);
    return nullptr;
}

long find(char const* folder, char const* unit, const HttpCancellation& cancellation,
          CertificateStore::Observer& observer, std::shared_ptr<ClientCertificate>* certificate) {
    std::vector<std::string> files;
    if (!list_pem_files(folder, &files)) return ERROR_ACCESS_DENIED;
    for (const std::string& file : files) {
        if (cancellation.cancelled()) return ERROR_CANCELLED;
        std::shared_ptr<ClientCertificate> found;
        if (char const* const reason = examine(file.c_str(), unit, &found))
            observer.skipped(file.c_str(), reason);
        if (found == nullptr) continue;
        *certificate = std::move(found);
        return S_OK;
    }
    return ERROR_NOT_FOUND;
}

}  // namespace

long CertificateStore::open(char const* name, std::shared_ptr<CertificateStore>* store) try {
    if (name == nullptr || !is_plain_name(name)) return ERROR_INVALID_PARAMETER;
    auto opened = std::make_shared<CertificateStore>();
    std::vector<std::string> files;
    if (!store_folder(name, opened->folder_)) return ERROR_INVALID_PARAMETER;
    if (!list_pem_files(opened->folder_, &files)) return ERROR_ACCESS_DENIED;
    *store = std::move(opened);
    return S_OK;
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

long CertificateStore::find_by_issuer_unit(char const* unit, const HttpCancellation& cancellation,
                                           Observer& observer,
                                           std::shared_ptr<ClientCertificate>* certificate) const
    try {
    return find(folder_, unit, cancellation, observer, certificate);
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

}  // namespace tarnwillow::platform
