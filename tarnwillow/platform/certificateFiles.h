// PEM files as the security library's objects. For the sources of the platform layer only.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

namespace tarnwillow::platform {

template <auto release>
struct ReleasedBy {
    template <class T>
    void operator()(T* object) const {
        release(object);
    }
};

using CertificatePtr = std::unique_ptr<X509, ReleasedBy<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, ReleasedBy<EVP_PKEY_free>>;

class ClientCertificate {
public:
    CertificatePtr certificate;
    KeyPtr key;
    std::vector<CertificatePtr> authorities;
};

/// Paths of the files in `folder` that end in ".pem", in byte order of their names; none if there
/// is no such folder. False if it cannot be read.
bool list_pem_files(char const* folder, std::vector<std::string>* files);

/// Text of a regular file of at most 1 MB; with `secret`, only if nobody but its owner may read it.
/// Null, or the reason why it was not read.
char const* read_pem_file(char const* file, bool secret, std::string* text);

/// All certificates of a PEM text, in their order.
std::vector<CertificatePtr> read_certificates(const std::string& text);

/// The private key of a PEM text; null if it has none that can be read without a passphrase.
KeyPtr read_key(const std::string& text);

}  // namespace tarnwillow::platform
