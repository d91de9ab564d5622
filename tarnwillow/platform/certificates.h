// Certificate stores: folders of PEM files, one for each store name.
//
// The folder of a store is `$TARNWILLOW_CERTIFICATES/NAME` or, without that variable,
// `$XDG_CONFIG_HOME/tarnwillow/certificates/NAME`. Only files that end in ".pem" belong to it. In a
// store of client certificates each holds one certificate, its private key without a passphrase,
// and behind them the certificates of its authorities if the server needs to be shown them.
#pragma once

#include <climits>
#include <memory>

#include "tarnwillow/platform/httpCancellation.h"

namespace tarnwillow::platform {

/// A certificate with its private key, loaded and ready for use. Holds no file open.
class ClientCertificate;

class CertificateStore {
public:
    /// The store of that name. One that has no folder is empty. ERROR_INVALID_PARAMETER for a name
    /// that is no plain folder name, ERROR_ACCESS_DENIED for a folder that cannot be read.
    static long open(char const* name, std::shared_ptr<CertificateStore>* store);

    /// Told of each file that is passed over, and why. A file that just has another issuer is not
    /// reported.
    class Observer {
    public:
        virtual void skipped(char const* file, char const* reason) = 0;

    protected:
        ~Observer() = default;
    };

    /// The first certificate, in the byte order of the file names, whose issuer has that very
    /// organisational unit, and that is valid now. A file whose group or others may read it is
    /// refused, since it holds a key. ERROR_NOT_FOUND if there is none, ERROR_CANCELLED once
    /// cancelled.
    long find_by_issuer_unit(char const* unit, const HttpCancellation& cancellation,
                             Observer& observer,
                             std::shared_ptr<ClientCertificate>* certificate) const;

    char const* folder() const { return folder_; }

    /// Use open.
    CertificateStore() : folder_{} {}

private:
    char folder_[PATH_MAX];
};

}  // namespace tarnwillow::platform
