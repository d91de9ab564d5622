#include "tarnwillow/platform/httpSecurity.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <new>

#include "tarnwillow/platform/certificates.h"
#include "tarnwillow/platform/http.h"
#include "tarnwillow/platform/httpAuthorities.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

/// What the check of a certificate can object to.
struct Objection {
    int error;
    long status;
    std::uint32_t waived_by;  ///< the flag that lets it pass
};

constexpr Objection kObjections[] = {
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, ERROR_WINHTTP_SECURE_INVALID_CA,
     SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, ERROR_WINHTTP_SECURE_INVALID_CA,
     SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, ERROR_WINHTTP_SECURE_INVALID_CA,
     SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, ERROR_WINHTTP_SECURE_INVALID_CA,
     SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, ERROR_WINHTTP_SECURE_INVALID_CA,
     SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_CERT_UNTRUSTED, ERROR_WINHTTP_SECURE_INVALID_CA, SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_CERT_NOT_YET_VALID, ERROR_WINHTTP_SECURE_CERT_DATE_INVALID,
     SECURITY_FLAG_IGNORE_CERT_DATE_INVALID},
    {X509_V_ERR_CERT_HAS_EXPIRED, ERROR_WINHTTP_SECURE_CERT_DATE_INVALID,
     SECURITY_FLAG_IGNORE_CERT_DATE_INVALID},
    {X509_V_ERR_INVALID_PURPOSE, ERROR_WINHTTP_SECURE_INVALID_CERT,
     SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE},
    {X509_V_ERR_CERT_REVOKED, ERROR_WINHTTP_SECURE_CERT_REVOKED, 0},
};
constexpr Objection kOther{0, ERROR_WINHTTP_SECURE_INVALID_CERT, 0};

const Objection& objection(int error) {
    for (const Objection& known : kObjections)
        if (known.error == error) return known;
    return kOther;
}

int terms_slot() {
    static const int slot = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return slot;
}

TlsTerms& terms_of(X509_STORE_CTX* check) {
    auto* const ssl =
        static_cast<SSL*>(X509_STORE_CTX_get_ex_data(check, SSL_get_ex_data_X509_STORE_CTX_idx()));
    return *static_cast<TlsTerms*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), terms_slot()));
}

void note_failure(TlsTerms& terms, const Objection& why, int error) noexcept {
    terms.failure = why.status;
    try {
        terms.reason = X509_verify_cert_error_string(error);
    } catch (const std::bad_alloc&) {
        terms.reason.clear();
    }
}

// Called for each objection, and once for each certificate that is in order. What is waived counts
// as never found, so that later stages see a certificate in order; the name is checked after this.
int judge(int in_order, X509_STORE_CTX* check) {
    if (in_order == 1) return 1;
    TlsTerms& terms = terms_of(check);
    const int error = X509_STORE_CTX_get_error(check);
    const Objection& why = objection(error);
    if ((why.waived_by & terms.flags) == 0) {
        note_failure(terms, why, error);
        return 0;
    }
    X509_STORE_CTX_set_error(check, X509_V_OK);
    return 1;
}

using Chain = std::unique_ptr<STACK_OF(X509), ReleasedBy<[](STACK_OF(X509) * chain) {
                                  sk_X509_free(chain);  // which leaves the certificates alone
                              }>>;

bool show(SSL* ssl, const ClientCertificate& own) {
    const Chain chain(sk_X509_new_null());
    if (chain == nullptr) return false;
    for (const CertificatePtr& authority : own.authorities)
        if (sk_X509_push(chain.get(), authority.get()) == 0) return false;
    return SSL_use_cert_and_key(ssl, own.certificate.get(), own.key.get(), chain.get(), 1) == 1;
}

// Called when the server has asked for a certificate. 0 ends the handshake.
int answer_demand(SSL* ssl, void* context) {
    auto& terms = *static_cast<TlsTerms*>(context);
    terms.certificate_asked = true;
    if (terms.certificate == nullptr) return terms.goes_without ? 1 : 0;
    return show(ssl, *terms.certificate) ? 1 : 0;
}

void trust(X509_STORE* trusted, const std::vector<CertificatePtr>& authorities) {
    for (const CertificatePtr& authority : authorities)
        X509_STORE_add_cert(trusted, authority.get());
    ERR_clear_error();
}

void trust_root_store(X509_STORE* trusted, const HttpCancellation& cancellation) {
    std::shared_ptr<CertificateStore> store;
    std::vector<std::string> files;
    if (CertificateStore::open("ROOT", &store) != S_OK || !list_pem_files(store->folder(), &files))
        return;
    std::string text;
    for (const std::string& file : files)
        if (!cancellation.cancelled() && read_pem_file(file.c_str(), false, &text) == nullptr)
            trust(trusted, read_certificates(text));
}

}  // namespace

void TlsTerms::forget() {
    certificate_asked = false;
    failure = 0;
    reason.clear();
}

bool apply_terms(void* ssl_context, TlsTerms* terms, char const* authorities,
                 const HttpCancellation& cancellation) noexcept try {
    auto* const context = static_cast<SSL_CTX*>(ssl_context);
    if (SSL_CTX_set_ex_data(context, terms_slot(), terms) != 1) return false;
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, judge);
    // Reading comes back after each record: a server may send session tickets without end.
    SSL_CTX_clear_mode(context, SSL_MODE_AUTO_RETRY);
    SSL_CTX_set_cert_cb(context, answer_demand, terms);
    X509_STORE* const trusted = SSL_CTX_get_cert_store(context);
    if (authorities != nullptr)
        if (const Authorities system = authorities_of(authorities, cancellation))
            trust(trusted, *system);
    trust_root_store(trusted, cancellation);
    return !cancellation.cancelled();
} catch (const std::bad_alloc&) {
    return false;
}

}  // namespace tarnwillow::platform
