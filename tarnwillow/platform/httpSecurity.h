// The terms of a secure connection, and what came of them. For the sources of the platform only.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tarnwillow/platform/certificateFiles.h"
#include "tarnwillow/platform/httpCancellation.h"

namespace tarnwillow::platform {

struct TlsTerms {
    // What the request wants.
    std::uint32_t flags = 0;  ///< SECURITY_FLAG_...
    std::shared_ptr<ClientCertificate> certificate;
    bool goes_without = false;  ///< a demand for a certificate is answered with none

    // What the server did. Forgotten at the start of each attempt.
    bool certificate_asked = false;
    long failure = 0;    ///< why its certificate was refused, as a status
    std::string reason;  ///< the same in words

    void forget();
    bool refused_without() const { return certificate_asked && certificate == nullptr; }
};

/// Makes a context of the security library keep to the terms, which must outlive it. It trusts the
/// authorities of the file, unless that is null, and of the store "ROOT" besides those that it
/// has. False once cancelled, and without memory.
bool apply_terms(void* ssl_context, TlsTerms* terms, char const* authorities,
                 const HttpCancellation& cancellation) noexcept;

}  // namespace tarnwillow::platform
