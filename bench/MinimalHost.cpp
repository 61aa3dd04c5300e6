#include "bench/Baseline.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/Graphics.h"

#include <gtkmm/application.h>
#include <gtkmm/applicationwindow.h>
#include <webkit/webkit.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

constexpr int usageError = 2;

GPtr<WebKitNetworkSession> makeSession(const std::string& folder, const std::string& host,
                                       const char* certificate) {
    auto session = GPtr<WebKitNetworkSession>::take(
        webkit_network_session_new(folder.c_str(), (folder + "/cache").c_str()));
    webkit_cookie_manager_set_persistent_storage(webkit_network_session_get_cookie_manager(session.get()),
                                                 (folder + "/cookies.sqlite").c_str(),
                                                 WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
    GError* error = nullptr;
    const auto trusted = GPtr<GTlsCertificate>::take(g_tls_certificate_new_from_file(certificate, &error));
    if (!trusted)
        throw std::runtime_error(GErrorPtr(error)->message);
    webkit_network_session_allow_tls_certificate_for_host(session.get(), trusted.get(), host.c_str());
    return session;
}

std::string hostOf(const char* url) {
    const GUriPtr parsed(g_uri_parse(url, G_URI_FLAGS_NONE, nullptr));
    if (!parsed || !g_uri_get_host(parsed.get()))
        throw std::runtime_error("not an address: " + std::string(url));
    return g_uri_get_host(parsed.get());
}

GPtr<GtkWidget> makeView(WebKitNetworkSession* session) {
    auto view = GPtr<GtkWidget>::take(GTK_WIDGET(
        g_object_ref_sink(g_object_new(WEBKIT_TYPE_WEB_VIEW, "network-session", session, nullptr))));
    if (!Graphics::isAccelerated())
        webkit_settings_set_hardware_acceleration_policy(
            webkit_web_view_get_settings(WEBKIT_WEB_VIEW(view.get())),
            WEBKIT_HARDWARE_ACCELERATION_POLICY_NEVER);
    return view;
}

int run(const char* url, const char* folder, const char* certificate) {
    Baseline::chooseRenderer();
    gtk_init();
    const auto session = makeSession(folder, hostOf(url), certificate);
    const auto view = makeView(session.get());
    webkit_web_view_load_uri(WEBKIT_WEB_VIEW(view.get()), url);

    const auto application = Gtk::Application::create("app.brisko.MinimalHost");
    class Host : public Gtk::ApplicationWindow {
    public:
        explicit Host(GtkWidget* page) {
            set_default_size(1180, 800);
            gtk_window_set_child(GTK_WINDOW(gobj()), page);
        }
    };
    return application->make_window_and_run<Host>(0, nullptr, view.get());
}

} // namespace

/// The least that shows a web page with gtkmm and WebKitGTK, started as fast as that goes: the engine works
/// on the page before the program registers and builds its window. FOLDER holds its cookies.sqlite, with the
/// session in it.
int main(int count, char** arguments) {
    if (count != 4) {
        std::fputs("usage: minimal-host URL FOLDER CERTIFICATE\n", stderr);
        return usageError;
    }
    try {
        return run(arguments[1], arguments[2], arguments[3]);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "minimal-host: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
