#include "demo/Certificate.h"

#include "demo/Random.h"

#include <gnutls/gnutls.h>
#include <gnutls/x509.h>

#include <array>
#include <chrono>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace Demo {

namespace {

constexpr std::chrono::seconds backdating = std::chrono::hours(1);
constexpr std::chrono::seconds validity = std::chrono::days(7);
constexpr const char* commonName = "brisko demo service";
constexpr const char* dnsName = "localhost";
constexpr std::array<unsigned char, 4> loopback = {127, 0, 0, 1};

struct KeyDeinit {
    void operator()(gnutls_x509_privkey_t key) const { gnutls_x509_privkey_deinit(key); }
};
struct CrtDeinit {
    void operator()(gnutls_x509_crt_t crt) const { gnutls_x509_crt_deinit(crt); }
};
using Key = std::unique_ptr<std::remove_pointer_t<gnutls_x509_privkey_t>, KeyDeinit>;
using Crt = std::unique_ptr<std::remove_pointer_t<gnutls_x509_crt_t>, CrtDeinit>;

void require(int result, const char* step) {
    if (result < 0)
        throw std::runtime_error(std::string("Certificate: ") + step + ": " + gnutls_strerror(result));
}

/// Memory that GnuTLS filled and that is wiped before it goes, since it may hold the private key.
struct Datum {
    gnutls_datum_t value = {nullptr, 0};
    Datum() = default;
    Datum(const Datum&) = delete;
    Datum& operator=(const Datum&) = delete;
    ~Datum() {
        if (value.data)
            gnutls_memset(value.data, 0, value.size);
        gnutls_free(value.data);
    }
};

Key generateKey() {
    gnutls_x509_privkey_t raw = nullptr;
    require(gnutls_x509_privkey_init(&raw), "key");
    Key key(raw);
    const unsigned bits = GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1);
    require(gnutls_x509_privkey_generate(raw, GNUTLS_PK_ECDSA, bits, 0), "key generation");
    return key;
}

void describe(gnutls_x509_crt_t crt) {
    std::string serial = Random::bytes(16);
    serial[0] = static_cast<char>((serial[0] & 0x3f) | 0x40); // positive, as RFC 5280 section 4.1.2.2 asks
    const std::time_t now = std::time(nullptr);
    require(gnutls_x509_crt_set_version(crt, 3), "version");
    require(gnutls_x509_crt_set_serial(crt, serial.data(), serial.size()), "serial number");
    require(gnutls_x509_crt_set_activation_time(crt, now - backdating.count()), "activation time");
    require(gnutls_x509_crt_set_expiration_time(crt, now + validity.count()), "expiration time");
    require(gnutls_x509_crt_set_dn_by_oid(crt, GNUTLS_OID_X520_COMMON_NAME, 0, commonName,
                                          static_cast<unsigned>(std::string_view(commonName).size())),
            "name");
    require(gnutls_x509_crt_set_subject_alt_name(crt, GNUTLS_SAN_IPADDRESS, loopback.data(), loopback.size(),
                                                 GNUTLS_FSAN_SET),
            "address");
    require(gnutls_x509_crt_set_subject_alt_name(crt, GNUTLS_SAN_DNSNAME, dnsName,
                                                 static_cast<unsigned>(std::string_view(dnsName).size()),
                                                 GNUTLS_FSAN_APPEND),
            "host name");
    require(gnutls_x509_crt_set_basic_constraints(crt, 0, -1), "constraints");
    require(gnutls_x509_crt_set_key_usage(crt, GNUTLS_KEY_DIGITAL_SIGNATURE), "key usage");
    require(gnutls_x509_crt_set_key_purpose_oid(crt, GNUTLS_KP_TLS_WWW_SERVER, 0), "key purpose");
}

Crt issue(gnutls_x509_privkey_t key) {
    gnutls_x509_crt_t raw = nullptr;
    require(gnutls_x509_crt_init(&raw), "certificate");
    Crt crt(raw);
    describe(raw);
    require(gnutls_x509_crt_set_key(raw, key), "public key");
    require(gnutls_x509_crt_sign2(raw, raw, key, GNUTLS_DIG_SHA256, 0), "signature");
    return crt;
}

} // namespace

Certificate Certificate::make() {
    const Key key = generateKey();
    const Crt crt = issue(key.get());

    Datum certificatePem;
    require(gnutls_x509_crt_export2(crt.get(), GNUTLS_X509_FMT_PEM, &certificatePem.value), "export");
    Certificate result;
    result.pem.assign(reinterpret_cast<const char*>(certificatePem.value.data), certificatePem.value.size);

    Datum keyPem;
    require(gnutls_x509_privkey_export2_pkcs8(key.get(), GNUTLS_X509_FMT_PEM, nullptr, GNUTLS_PKCS_PLAIN,
                                              &keyPem.value),
            "key export");
    std::string both = result.pem;
    both.append(reinterpret_cast<const char*>(keyPem.value.data), keyPem.value.size);
    GError* error = nullptr;
    result.tls = GPtr<GTlsCertificate>::take(
        g_tls_certificate_new_from_pem(both.data(), static_cast<gssize>(both.size()), &error));
    gnutls_memset(both.data(), 0, both.size());
    if (!result.tls)
        throw std::runtime_error(std::string("Certificate: ") + GErrorPtr(error)->message);
    return result;
}

} // namespace Demo
