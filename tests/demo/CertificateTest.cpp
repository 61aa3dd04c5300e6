#include "TestService.h"

using namespace Demo;

namespace {

class Certificates : public ServiceTest {};

GTlsCertificateFlags verify(const Certificate& certificate, const char* host) {
    const auto address = GPtr<GSocketConnectable>::take(g_network_address_new(host, 443));
    return g_tls_certificate_verify(certificate.tls.get(), address.get(), certificate.tls.get());
}

TEST_F(Certificates, vouchForTheLoopbackAddressAndNameAndNothingElse) {
    const Certificate certificate = Certificate::make();
    EXPECT_EQ(verify(certificate, "127.0.0.1"), 0);
    EXPECT_EQ(verify(certificate, "localhost"), 0);
    for (const char* host : {"127.0.0.2", "brisko.example", "www.localhost"})
        EXPECT_EQ(verify(certificate, host), G_TLS_CERTIFICATE_BAD_IDENTITY) << host;
}

TEST_F(Certificates, areValidForAFewDaysAndKeepTheirKeyToThemselves) {
    const Certificate certificate = Certificate::make();
    GDateTime* from = g_tls_certificate_get_not_valid_before(certificate.tls.get());
    GDateTime* until = g_tls_certificate_get_not_valid_after(certificate.tls.get());
    GDateTime* now = g_date_time_new_now_utc();
    EXPECT_LT(g_date_time_difference(from, now), 0);
    EXPECT_GT(g_date_time_difference(until, now), 6 * G_TIME_SPAN_DAY);
    EXPECT_LT(g_date_time_difference(until, now), 8 * G_TIME_SPAN_DAY);
    for (GDateTime* time : {from, until, now})
        g_date_time_unref(time);
    EXPECT_EQ(certificate.pem.find("PRIVATE"), std::string::npos);
}

TEST_F(Certificates, clientThatTrustsAnotherOneDoesNotConnect) {
    EXPECT_EQ(client().get("/login").status, 200u);
    const std::string other = folder_.file("other.pem");
    replaceFile(other, Certificate::make().pem);
    const Response response = TestClient(client().origin(), other).get("/login");
    EXPECT_EQ(response.status, 0u);
    EXPECT_NE(response.body.find("certificate"), std::string::npos) << response.body;
}

} // namespace
