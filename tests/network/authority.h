// Certificates for tests, made on the spot.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <string>

namespace tarnwillow::test {

struct CertificateWish {
    std::string name;            ///< common name, and the server's names as "DNS:...,IP:..."
    std::string alternatives{};  ///< of its subject; none if empty
    int days_from = -1;
    int days_to = 30;
};

/// A certificate authority of its own, with one organisational unit.
class Authority {
public:
    explicit Authority(const std::string& unit);
    ~Authority();
    Authority(const Authority&) = delete;
    Authority& operator=(const Authority&) = delete;

    /// Its own certificate as PEM.
    std::string certificate() const;

    /// A certificate that it issued, with the private key, as PEM.
    std::string issue(const CertificateWish& wish) const;

private:
    EVP_PKEY* const key_;
    X509* certificate_;
};

}  // namespace tarnwillow::test
