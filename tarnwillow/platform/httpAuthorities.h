// The authorities that the system trusts, as the one file in which it lists them. For the sources
// of the platform only.
#pragma once

#include <memory>
#include <vector>

#include "tarnwillow/platform/certificateFiles.h"
#include "tarnwillow/platform/httpCancellation.h"

namespace tarnwillow::platform {

using Authorities = std::shared_ptr<const std::vector<CertificatePtr>>;

/// All certificates of a PEM file of any size; what is no certificate in it is passed over. They
/// are read once for the process, and again when the file has changed: reading takes longer than a
/// handshake. Null once cancelled, which ends the reading at the next certificate, and for a file
/// that cannot be read. Any thread, and none waits for another. Throws std::bad_alloc.
Authorities authorities_of(char const* file, const HttpCancellation& cancellation);

}  // namespace tarnwillow::platform
