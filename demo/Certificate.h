#pragma once

#include "platform/linux/GPtr.h"

#include <gio/gio.h>

#include <string>

namespace Demo {

/// A self-signed server certificate for this machine's loopback interface, made afresh for every start.
///
/// EC P-256 with SHA-256, valid for the address 127.0.0.1 and the name "localhost", from an hour ago (a clock
/// may be corrected backwards) for seven days. The private key exists in this process only. Whoever is to
/// trust it is given `pem` as the only anchor; it is not a certification authority and can vouch for nothing
/// else.
struct Certificate {
    GPtr<GTlsCertificate> tls; ///< certificate and private key, ready for a server
    std::string pem;           ///< the certificate alone, to be handed to clients

    /// Throws std::runtime_error with the library's explanation when it cannot be made.
    static Certificate make();
};

} // namespace Demo
