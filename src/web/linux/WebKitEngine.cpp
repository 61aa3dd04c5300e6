#include "web/linux/WebKitEngine.h"

#include "platform/linux/DurableFile.h"
#include "web/linux/WebEngineModule.h"

namespace {

/// The word by which the service knows a desktop shell.
constexpr const char* applicationName = "briskomac";

/// A toolkit that cannot embed the page's accessibility tree leaves it on the accessibility bus by itself,
/// out of reach for whom it is meant and within reach of everybody else, also while the window is locked.
void keepPagesOffTheAccessibilityBus() {
    constexpr guint minorThatEmbeds = 14; // GTK 4.14 has GtkAtSpiSocket
    constexpr gboolean overwrite = FALSE;
    if (gtk_get_minor_version() < minorThatEmbeds)
        g_setenv("WEBKIT_A11Y_BUS_ADDRESS", "", overwrite);
}

GPtr<WebKitNetworkSession> makeSession(const WebEngine::Options& options) {
    keepPagesOffTheAccessibilityBus();
    // The engine itself would leave the folders, and the cookies in them, readable for everybody.
    DurableFile::makePrivateFolder(options.data);
    DurableFile::makePrivateFolder(options.cache);
    auto session = GPtr<WebKitNetworkSession>::take(
        webkit_network_session_new(options.data.c_str(), options.cache.c_str()));
    webkit_cookie_manager_set_persistent_storage(webkit_network_session_get_cookie_manager(session.get()),
                                                 (options.data / "cookies.sqlite").c_str(),
                                                 WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
    return session;
}

GPtr<WebKitSettings> makeSettings(bool acceleration) {
    auto settings = GPtr<WebKitSettings>::take(webkit_settings_new());
    // The engine's own call for this would put a version behind the word.
    const auto userAgent =
        webkit_settings_get_user_agent(settings.get()) + std::string(" ") + applicationName;
    webkit_settings_set_user_agent(settings.get(), userAgent.c_str());
    webkit_settings_set_enable_back_forward_navigation_gestures(settings.get(), TRUE);
    if (!acceleration)
        webkit_settings_set_hardware_acceleration_policy(settings.get(),
                                                         WEBKIT_HARDWARE_ACCELERATION_POLICY_NEVER);
    return settings;
}

} // namespace

WebKitEngine::WebKitEngine(const Options& options)
    : acceleration_(options.acceleration),
      session_(makeSession(options)),
      trust_(std::make_shared<WebKitTrust>(session_, options.origin, options.trusted)),
      views_(std::make_shared<WebKitViews>()),
      store_(session_, views_),
      downloads_(session_.get(),
                 [this](WebKitWebView* from, const auto& download) { received(from, download); }) {}

std::unique_ptr<GtkWebView> WebKitEngine::makeView() {
    if (prepared_)
        return std::move(prepared_);
    return newView();
}

std::unique_ptr<WebKitView> WebKitEngine::newView() const {
    return std::make_unique<WebKitView>(session_.get(), trust_, views_, makeSettings(acceleration_));
}

void WebKitEngine::received(WebKitWebView* from, const std::shared_ptr<Download>& download) {
    for (auto* const view : *views_)
        if (const auto receive = view->onDownload; view->shows(from) && receive) {
            receive(download);
            return;
        }
    // Its page has gone in the meantime, or nobody wants it.
    download->cancel();
}

void WebKitEngine::prepare() {
    if (prepared_)
        return;
    prepared_ = newView();
    prepared_->prepare();
    // The first question about a cookie would have to wait for the process that keeps them.
    webkit_cookie_manager_get_all_cookies(webkit_network_session_get_cookie_manager(session_.get()), nullptr,
                                          nullptr, nullptr);
}

WebEngine* briskoMakeWebEngine(const WebEngine::Options& options) {
    return std::make_unique<WebKitEngine>(options).release();
}
