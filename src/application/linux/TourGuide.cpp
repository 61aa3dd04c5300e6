#include "application/linux/TourGuide.h"

#include "account/linux/AuthScreen.h"
#include "application/linux/Program.h"
#include "application/linux/WindowPicture.h"
#include "lock/linux/LockSettingsScreen.h"
#include "lock/linux/PasscodeScreen.h"
#include "platform/Error.h"
#include "web/linux/WebEngine.h"

#include <glibmm/main.h>

#include <chrono>

namespace {

constexpr std::chrono::seconds patience(30);
constexpr std::chrono::milliseconds glance(15);
/// How often the page may be asked for a value: often enough to be quick, seldom enough to leave it room.
constexpr std::chrono::milliseconds pageGlance(40);

Task<> later(std::chrono::milliseconds delay) {
    const auto over = std::make_shared<Completion<Done>>();
    Glib::signal_timeout().connect_once([over] { over->resolve(Done()); },
                                        static_cast<unsigned int>(delay.count()));
    co_await *over;
}

bool isTrue(const std::optional<Json>& value) {
    return value && value->is_boolean() && value->get<bool>();
}

} // namespace

TourGuide::TourGuide(std::filesystem::path folder, Program& program)
    : folder_(std::move(folder)), program_(program) {
    std::filesystem::create_directories(folder_);
}

AuthScreen& TourGuide::authScreen() {
    return dynamic_cast<AuthScreen&>(*program_.mainWindow().content());
}

LockSettingsView& TourGuide::lockSettings() {
    return dynamic_cast<LockSettingsScreen&>(*program_.mainWindow().sheet()).view();
}

PasscodeScreen* TourGuide::passcodeScreen() {
    auto& window = program_.mainWindow();
    return dynamic_cast<PasscodeScreen*>(window.sheet() ? window.sheet() : window.content());
}

GtkWebView& TourGuide::page() {
    return dynamic_cast<GtkWebView&>(*program_.mainWindow().content());
}

Task<> TourGuide::until(std::string what, std::function<bool()> condition) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            throw Error("Waited in vain for " + what + ".");
        co_await later(glance);
    }
}

Task<> TourGuide::untilInPage(std::string what, std::string script) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (true) {
        const auto value = co_await page().evaluateForResult("return " + script);
        if (isTrue(value))
            co_return;
        if (std::chrono::steady_clock::now() > deadline)
            throw Error("Waited in vain for " + what + ".");
        co_await later(pageGlance);
    }
}

Task<> TourGuide::drawn() {
    // A colour that fades and a page that paints in its own process take a few frames; afterwards nothing
    // moves.
    co_await later(std::chrono::milliseconds(300));
}

Task<> TourGuide::signOutInPage() {
    co_await untilInPage("the sign-out button",
                         "[...document.querySelectorAll('dialog[open] button')]"
                         ".filter((b) => b.textContent === 'Sign out').map((b) => b.click()).length === 1");
    co_await untilSignIn();
}

Task<> TourGuide::untilSignIn() {
    co_await until("the sign-in screen",
                   [this] { return dynamic_cast<AuthScreen*>(program_.mainWindow().content()) != nullptr; });
}

Task<> TourGuide::picture(std::string name) {
    return picture(std::move(name), program_.mainWindow().window());
}

Task<> TourGuide::picture(std::string name, Gtk::Window& window) {
    co_await drawn();
    pictures_ += 1;
    constexpr int twoDigits = 100;
    const auto number = std::to_string(twoDigits + pictures_).substr(1);
    const auto file = folder_ / (number + "-" + name + ".png");
    co_await until("the first frame of '" + name + "'", [&] { return saveWindowPicture(window, file); });
}

Task<> TourGuide::pressInPage(std::string key, bool shift) {
    co_await page().evaluateForResult(
        "return document.body.dispatchEvent(new KeyboardEvent('keydown', {key: '" + key +
        "', metaKey: true, shiftKey: " + (shift ? "true" : "false") + ", bubbles: true, cancelable: true}))");
}

Task<> TourGuide::clickInPage(std::string selector) {
    co_await page().evaluateForResult("document.querySelector('" + selector + "').click()");
}
