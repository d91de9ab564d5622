#include "network/authority.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace tarnwillow::test {

namespace {

constexpr long kDay = 24 * 60 * 60;

EVP_PKEY* new_key() { return EVP_EC_gen("P-256"); }

template <class Write>
std::string pem(Write write) {
    BIO* const bio = BIO_new(BIO_s_mem());
    write(bio);
    char* text = nullptr;
    const long size = BIO_get_mem_data(bio, &text);
    std::string result(text, static_cast<std::size_t>(size));
    BIO_free(bio);
    return result;
}

void add_name(X509_NAME* name, char const* field, const std::string& value) {
    X509_NAME_add_entry_by_txt(name, field, MBSTRING_UTF8,
                               reinterpret_cast<unsigned char const*>(value.c_str()), -1, -1, 0);
}

void add_extension(X509* certificate, X509* issuer, int id, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, id, value.c_str());
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
}

X509* blank(EVP_PKEY* key, int days_from, int days_to) {
    static long serial = 1;
    X509* const certificate = X509_new();
    X509_set_version(certificate, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(certificate), days_from * kDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate), days_to * kDay);
    X509_set_pubkey(certificate, key);
    return certificate;
}

}  // namespace

Authority::Authority(const std::string& unit) : key_(new_key()), certificate_(blank(key_, -2, 60)) {
    X509_NAME* const name = X509_get_subject_name(certificate_);
    add_name(name, "O", "Tests");
    add_name(name, "OU", unit);
    add_name(name, "CN", "Authority of " + unit);
    X509_set_issuer_name(certificate_, name);
    add_extension(certificate_, certificate_, NID_basic_constraints, "critical,CA:TRUE");
    add_extension(certificate_, certificate_, NID_subject_key_identifier, "hash");
    X509_sign(certificate_, key_, EVP_sha256());
}

Authority::~Authority() {
    X509_free(certificate_);
    EVP_PKEY_free(key_);
}

std::string Authority::certificate() const {
    return pem([this](BIO* bio) { PEM_write_bio_X509(bio, certificate_); });
}

std::string Authority::issue(const CertificateWish& wish) const {
    EVP_PKEY* const key = new_key();
    X509* const issued = blank(key, wish.days_from, wish.days_to);
    add_name(X509_get_subject_name(issued), "CN", wish.name);
    X509_set_issuer_name(issued, X509_get_subject_name(certificate_));
    if (!wish.alternatives.empty())
        add_extension(issued, certificate_, NID_subject_alt_name, wish.alternatives);
    X509_sign(issued, key_, EVP_sha256());
    std::string text = pem([=](BIO* bio) {
        PEM_write_bio_X509(bio, issued);
        PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr);
    });
    X509_free(issued);
    EVP_PKEY_free(key);
    return text;
}

}  // namespace tarnwillow::test
