#include "CertificateAuthority.h"

#include <array>
#include <ctime>
#include <stdexcept>

namespace {

constexpr std::time_t hour = 3600;

void require(int result) {
    if (result < 0)
        throw std::runtime_error(gnutls_strerror(result));
}

std::string take(gnutls_datum_t& datum) {
    std::string text(reinterpret_cast<const char*>(datum.data), datum.size);
    gnutls_free(datum.data);
    return text;
}

} // namespace

CertificateAuthority::CertificateAuthority()
    : key_(makeKey()), certificate_(describe(key_, "test authority")) {
    auto* const own = certificate_.get();
    require(gnutls_x509_crt_set_basic_constraints(own, 1, -1));
    require(gnutls_x509_crt_set_key_usage(own, GNUTLS_KEY_KEY_CERT_SIGN));
    require(gnutls_x509_crt_sign2(own, own, key_.get(), GNUTLS_DIG_SHA256, 0));
    pem_ = exported(certificate_);
}

GPtr<GTlsCertificate> CertificateAuthority::issue(const std::string& host) const {
    const auto key = makeKey();
    const auto certificate = describe(key, host);
    require(gnutls_x509_crt_set_subject_alt_name(certificate.get(), GNUTLS_SAN_DNSNAME, host.data(),
                                                 static_cast<unsigned>(host.size()), GNUTLS_FSAN_SET));
    require(gnutls_x509_crt_set_key_purpose_oid(certificate.get(), GNUTLS_KP_TLS_WWW_SERVER, 0));
    require(gnutls_x509_crt_sign2(certificate.get(), certificate_.get(), key_.get(), GNUTLS_DIG_SHA256, 0));
    const auto pem = exported(certificate) + exported(key);
    GError* error = nullptr;
    auto* const result = g_tls_certificate_new_from_pem(pem.data(), static_cast<gssize>(pem.size()), &error);
    if (!result)
        throw std::runtime_error(GErrorPtr(error)->message);
    return GPtr<GTlsCertificate>::take(result);
}

CertificateAuthority::Key CertificateAuthority::makeKey() {
    gnutls_x509_privkey_t key = nullptr;
    require(gnutls_x509_privkey_init(&key));
    Key owned(key);
    require(gnutls_x509_privkey_generate(key, GNUTLS_PK_ECDSA,
                                         GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1), 0));
    return owned;
}

CertificateAuthority::Certificate CertificateAuthority::describe(const Key& key, const std::string& name) {
    gnutls_x509_crt_t certificate = nullptr;
    require(gnutls_x509_crt_init(&certificate));
    Certificate owned(certificate);
    // Of no consequence, as long as it differs from the authority's own.
    const std::array<unsigned char, 2> serial = {1, static_cast<unsigned char>(name.size())};
    const auto now = std::time(nullptr);
    require(gnutls_x509_crt_set_version(certificate, 3));
    require(gnutls_x509_crt_set_serial(certificate, serial.data(), serial.size()));
    require(gnutls_x509_crt_set_activation_time(certificate, now - hour));
    require(gnutls_x509_crt_set_expiration_time(certificate, now + hour));
    require(gnutls_x509_crt_set_dn_by_oid(certificate, GNUTLS_OID_X520_COMMON_NAME, 0, name.data(),
                                          static_cast<unsigned>(name.size())));
    require(gnutls_x509_crt_set_key(certificate, key.get()));
    return owned;
}

std::string CertificateAuthority::exported(const Certificate& certificate) {
    gnutls_datum_t pem = {nullptr, 0};
    require(gnutls_x509_crt_export2(certificate.get(), GNUTLS_X509_FMT_PEM, &pem));
    return take(pem);
}

std::string CertificateAuthority::exported(const Key& key) {
    gnutls_datum_t pem = {nullptr, 0};
    require(
        gnutls_x509_privkey_export2_pkcs8(key.get(), GNUTLS_X509_FMT_PEM, nullptr, GNUTLS_PKCS_PLAIN, &pem));
    return take(pem);
}
