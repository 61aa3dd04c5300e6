#include "account/BriskoAPI.h"
#include "application/linux/MainWindow.h"
#include "lock/PasscodeView.h"
#include "lock/linux/PasscodeScreen.h"
#include "lock/linux/SecretServiceKeychain.h"
#include "platform/linux/GLibMainQueue.h"
#include "platform/linux/Graphics.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/Profile.h"
#include "platform/linux/SystemClock.h"

#include <gtkmm/application.h>
#include <gtkmm/cssprovider.h>
#include <gtkmm/stylecontext.h>

#include <cstdio>
#include <string>

extern "C" void brisko_register_resource();

/// Shows the passcode screen by itself, in any of its modes, over the profile's real keyring item and
/// preferences:
///
///     passcode-window unlock|relock|setup|change PROFILE ORIGIN CERTIFICATE
///
/// It prints the name of the callback that ends it.
namespace {

class NoBrowser : public WebAuthentication {
public:
    Task<std::optional<std::string>> authenticate(Url, std::string) override { co_return std::nullopt; }
};

PasscodeView::Mode modeOf(const std::string& name, const Passcode& store) {
    constexpr int newLength = 6;
    const auto shape = store.shape().value_or(Passcode::Shape());
    if (name == "unlock")
        return PasscodeView::Unlock{shape};
    if (name == "relock")
        return PasscodeView::Relock{shape};
    if (name == "change")
        return PasscodeView::Change{shape, newLength};
    return PasscodeView::Setup{"ada", std::nullopt};
}

void addStyle(const char* name) {
    const auto style = Gtk::CssProvider::create();
    style->load_from_resource(std::string("/app/brisko/Brisko/") + name);
    Gtk::StyleContext::add_provider_for_display(Gdk::Display::get_default(), style,
                                                GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
}

} // namespace

int main(int, char** arguments) {
    const auto profile = Profile::under(arguments[2]);
    const auto origin = *BriskoAPI::parseOrigin(arguments[3]);
    LinuxPlatform platform(profile, {origin, arguments[4], profile.dataOf(origin), profile.cacheOf(origin)});
    NoBrowser browser;
    BriskoAPI api(origin, platform.http(), platform.cookies(), platform.webData(), browser);
    SystemClock clock;
    GLibMainQueue queue;
    SecretServiceKeychain keychain(profile.applicationId());
    Passcode store(keychain, platform.defaults(), clock);

    Graphics::chooseRenderer(); // as the program does: software OpenGL leaves no time for anything else
    const auto application = Gtk::Application::create();
    std::unique_ptr<MainWindow> window;
    std::unique_ptr<PasscodeScreen> screen;
    const auto end = [&application](const char* name) {
        return [&application, name] {
            std::puts(name);
            application->quit();
        };
    };
    application->signal_activate().connect([&] {
        brisko_register_resource();
        for (const auto* style : {"native-screen.css", "passcode-screen.css", "window.css"})
            addStyle(style);
        window = std::make_unique<MainWindow>(application, platform.defaults());
        PasscodeView::Callbacks callbacks{end("unlocked"), end("password"), end("done")};
        screen = std::make_unique<PasscodeScreen>(
            PasscodeView::make(modeOf(arguments[1], store), std::move(callbacks), store, api, clock, queue));
        window->setBackground(Chrome::canvas);
        window->setContent(*screen);
        window->present();
    });
    const auto status = application->run();
    platform.cancelRequests();
    keychain.cancelAll();
    window->removeContent();
    screen.reset();
    window.reset();
    return status;
}
