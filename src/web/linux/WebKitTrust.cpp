#include "web/linux/WebKitTrust.h"

#include "platform/Error.h"

#include <memory>

namespace {

struct CertificatesFree {
    void operator()(GList* list) const { g_list_free_full(list, g_object_unref); }
};
using Certificates = std::unique_ptr<GList, CertificatesFree>;

GPtr<GTlsDatabase> readAnchors(const std::filesystem::path& file) {
    GError* error = nullptr;
    auto* const database = g_tls_file_database_new(file.c_str(), &error);
    if (!database)
        throw Error(GErrorPtr(error)->message);
    return GPtr<GTlsDatabase>::take(G_TLS_DATABASE(database));
}

Certificates readCertificates(const std::filesystem::path& file) {
    GError* error = nullptr;
    Certificates list(g_tls_certificate_list_new_from_file(file.c_str(), &error));
    if (error)
        throw Error(GErrorPtr(error)->message);
    if (!list)
        throw Error(file.string() + ": no certificate");
    return list;
}

} // namespace

WebKitTrust::WebKitTrust(GPtr<WebKitNetworkSession> session, const Url& origin,
                         const std::optional<std::filesystem::path>& trusted)
    : session_(std::move(session)), host_(origin.host().value_or("")) {
    if (!trusted)
        return;
    // The file database takes an absolute path only.
    const auto file = std::filesystem::absolute(*trusted);
    anchors_ = readAnchors(file);
    const auto certificates = readCertificates(file);
    for (auto* item = certificates.get(); item; item = item->next)
        if (auto* const certificate = G_TLS_CERTIFICATE(item->data); vouchesFor(certificate))
            accept(certificate);
}

bool WebKitTrust::admit(const char* uri, GTlsCertificate* presented) {
    if (!covers(uri) || !vouchesFor(presented))
        return false;
    accept(presented);
    return true;
}

void WebKitTrust::follow(const std::shared_ptr<WebKitTrust>& trust, WebKitWebResource* resource) {
    using Owner = std::shared_ptr<WebKitTrust>;
    if (!trust->covers(webkit_web_resource_get_uri(resource)))
        return;
    g_signal_connect_data(
        resource, "failed-with-tls-errors",
        G_CALLBACK(+[](WebKitWebResource* failed, GTlsCertificate* certificate, GTlsCertificateFlags,
                       Owner* owner) { (*owner)->admit(webkit_web_resource_get_uri(failed), certificate); }),
        std::make_unique<Owner>(trust).release(),
        [](gpointer owner, GClosure*) { std::unique_ptr<Owner>(static_cast<Owner*>(owner)).reset(); },
        static_cast<GConnectFlags>(0));
}

bool WebKitTrust::covers(const char* uri) const {
    if (!anchors_ || !uri)
        return false;
    const GUriPtr parsed(g_uri_parse(uri, G_URI_FLAGS_NONE, nullptr));
    const char* const host = parsed ? g_uri_get_host(parsed.get()) : nullptr;
    return host && g_ascii_strcasecmp(host, host_.c_str()) == 0;
}

bool WebKitTrust::vouchesFor(GTlsCertificate* certificate) const {
    const auto identity = GPtr<GSocketConnectable>::take(g_network_address_new(host_.c_str(), 0));
    return g_tls_database_verify_chain(
               anchors_.get(), certificate, G_TLS_DATABASE_PURPOSE_AUTHENTICATE_SERVER, identity.get(),
               nullptr, G_TLS_DATABASE_VERIFY_NONE, nullptr, nullptr) == G_TLS_CERTIFICATE_NO_FLAGS;
}

void WebKitTrust::accept(GTlsCertificate* certificate) {
    // The engine compares with the host as a URL writes it: an IPv6 address in brackets.
    const auto written = host_.find(':') == std::string::npos ? host_ : "[" + host_ + "]";
    webkit_network_session_allow_tls_certificate_for_host(session_.get(), certificate, written.c_str());
}
