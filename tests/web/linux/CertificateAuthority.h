#pragma once

#include "platform/linux/GPtr.h"

#include <gio/gio.h>
#include <gnutls/x509.h>

#include <memory>
#include <string>

/// A certification authority for the length of a test.
class CertificateAuthority {
public:
    CertificateAuthority();

    /// Its own certificate, for those who are to trust it.
    const std::string& pem() const { return pem_; }
    /// A new server certificate for the name `host`, with its key.
    GPtr<GTlsCertificate> issue(const std::string& host) const;

private:
    struct KeyFree {
        void operator()(gnutls_x509_privkey_t key) const { gnutls_x509_privkey_deinit(key); }
    };
    struct CertificateFree {
        void operator()(gnutls_x509_crt_t certificate) const { gnutls_x509_crt_deinit(certificate); }
    };
    using Key = std::unique_ptr<std::remove_pointer_t<gnutls_x509_privkey_t>, KeyFree>;
    using Certificate = std::unique_ptr<std::remove_pointer_t<gnutls_x509_crt_t>, CertificateFree>;

    static Key makeKey();
    static Certificate describe(const Key& key, const std::string& name);
    static std::string exported(const Certificate& certificate);
    static std::string exported(const Key& key);

    Key key_;
    Certificate certificate_;
    std::string pem_;
};
