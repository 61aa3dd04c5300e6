#include "application/linux/Tour.h"

#include "account/linux/AuthScreen.h"
#include "application/WindowFrame.h"
#include "application/linux/Program.h"
#include "application/linux/TourLocks.h"
#include "application/linux/TourReminders.h"
#include "application/linux/TourWeb.h"
#include "lock/linux/PasscodeScreen.h"
#include "platform/Error.h"
#include "web/linux/WebEngine.h"

#include <cstdio>

namespace {

/// The account that the embedded service starts with.
constexpr auto seededUser = "ada";
constexpr auto seededPassword = "lovelace-1843";

constexpr auto passcode = "1843";
constexpr auto newPasscode = "184312";
constexpr int newLength = 6;

void type(PasscodeView& view, const char* digits) {
    view.edit(SecretText(digits));
}

} // namespace

Tour::Tour(const std::filesystem::path& folder, Program& program) : guide_(folder, program) {}

Task<> Tour::run(std::function<void(bool)> finished) {
    bool succeeded = true;
    try {
        co_await signInMode();
        co_await signUpMode();
        co_await resetMode();
        co_await googlePanel();
        co_await passcodeOffer();
        TourWeb web(guide_);
        co_await web.run();
        TourLocks locks(guide_);
        co_await locks.run(passcode);
        co_await passcodeChange();
        co_await signOut();
        co_await passcodeUnlock();
        co_await passcodeLockOut();
        co_await passcodeOff();
        TourReminders reminders(guide_);
        co_await reminders.run();
        std::printf("%d pictures in %s\n", guide_.pictures(), guide_.folder().c_str());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "brisko: the tour ended early: %s\n", failure.what());
        succeeded = false;
    }
    finished(succeeded);
}

Task<> Tour::signInMode() {
    co_await guide_.until("the sign-in screen",
                          [this] { return guide_.program().mainWindow().content() != nullptr; });
    co_await guide_.picture("sign-in");

    auto& view = guide_.authScreen().view();
    view.type(AuthView::Field::identifier, seededUser);
    view.type(AuthView::Field::password, "not the password");
    guide_.program().demo()->pause();
    spawn(view.go());
    co_await guide_.picture("signing-in");
    guide_.program().demo()->goOn();
    co_await guide_.until("the refusal of a wrong password",
                          [&view] { return view.state().error.has_value(); });
    view.toggleReveal();
    co_await guide_.picture("sign-in-refused");
    view.toggleReveal();
}

Task<> Tour::signUpMode() {
    auto& view = guide_.authScreen().view();
    guide_.program().demo()->pause();
    view.switchTo(AuthView::Mode::signUp);
    co_await guide_.picture("sign-up-loading");
    guide_.program().demo()->goOn();
    co_await guide_.until("the verification image", [&view] { return view.state().captcha.has_value(); });
    view.type(AuthView::Field::identifier, seededUser);
    view.type(AuthView::Field::email, "ada@brisko.example");
    view.type(AuthView::Field::password, seededPassword);
    view.type(AuthView::Field::captcha, "tour");
    co_await guide_.picture("sign-up");

    const auto size = guide_.program().mainWindow().frame();
    guide_.program().mainWindow().setFrame(WindowFrame::minimum);
    spawn(view.go());
    co_await guide_.until("the refusal of a taken name",
                          [&view] { return view.state().error && !view.state().busy; });
    co_await guide_.picture("sign-up-refused-minimum-size");
    guide_.program().mainWindow().setFrame(size);
}

Task<> Tour::resetMode() {
    auto& view = guide_.authScreen().view();
    view.switchTo(AuthView::Mode::forgot);
    view.type(AuthView::Field::email, "ada@brisko.example");
    spawn(view.go());
    co_await guide_.until("the notice of the reset", [&view] { return view.state().notice.has_value(); });
    co_await guide_.picture("reset");
    view.switchTo(AuthView::Mode::signIn);
}

Task<> Tour::googlePanel() {
    auto& view = guide_.authScreen().view();
    spawn(view.googleSignIn());
    co_await guide_.until("the panel of the Google sign-in", [this] {
        auto* panel = guide_.program().browserPanel().window();
        return panel && panel->get_mapped();
    });
    co_await guide_.picture("google-panel", *guide_.program().browserPanel().window());
    guide_.program().browserPanel().window()->close();
    co_await guide_.until("the end of the Google sign-in", [&view] { return !view.state().busy; });
    co_await guide_.picture("google-given-up");
}

Task<> Tour::passcodeOffer() {
    auto& view = guide_.authScreen().view();
    view.type(AuthView::Field::identifier, seededUser);
    view.type(AuthView::Field::password, seededPassword);
    spawn(view.go());
    co_await guide_.until("the web application", [this] {
        return dynamic_cast<GtkWebView*>(guide_.program().mainWindow().content());
    });
    co_await guide_.until("the offer of a passcode", [this] {
        auto* window = guide_.program().mainWindow().sheetWindow();
        return window && window->get_mapped() && guide_.passcodeScreen();
    });
    auto& offer = guide_.passcodeScreen()->view();
    type(offer, "12");
    co_await guide_.picture("passcode-offer", *guide_.program().mainWindow().sheetWindow());
    type(offer, passcode);
    type(offer, "4321");
    co_await guide_.picture("passcode-mismatch", *guide_.program().mainWindow().sheetWindow());
    type(offer, passcode);
    type(offer, "184");
    co_await guide_.picture("passcode-confirm", *guide_.program().mainWindow().sheetWindow());
    type(offer, passcode);
    co_await guide_.until("the end of the passcode sheet",
                          [this] { return !guide_.program().mainWindow().sheetWindow(); });
}

Task<> Tour::passcodeChange() {
    guide_.program().delegate().showLockSettings({});
    co_await guide_.picture("lock-settings", *guide_.program().mainWindow().sheetWindow());
    guide_.lockSettings().pickLength(newLength);
    auto& view = guide_.passcodeScreen()->view();
    co_await guide_.picture("passcode-change", *guide_.program().mainWindow().sheetWindow());
    type(view, passcode);
    co_await guide_.until("the choice of a new passcode",
                          [&view] { return view.state().step == PasscodeView::Step::choose; });
    co_await guide_.picture("passcode-change-choose", *guide_.program().mainWindow().sheetWindow());
    type(view, newPasscode);
    type(view, newPasscode);
    co_await guide_.until("the lock settings again", [this] { return !guide_.passcodeScreen(); });
    guide_.lockSettings().toggleRecording();
    co_await guide_.picture("lock-settings-recording", *guide_.program().mainWindow().sheetWindow());
    guide_.lockSettings().done();
}

Task<> Tour::signOut() {
    co_await guide_.signOutInPage();
    co_await guide_.picture("signed-out");
}

Task<> Tour::passcodeUnlock() {
    guide_.program().startOver();
    co_await guide_.until("the passcode screen", [this] { return guide_.passcodeScreen() != nullptr; });
    auto& view = guide_.passcodeScreen()->view();
    co_await guide_.picture("unlock");
    type(view, "000000");
    co_await guide_.until("the refusal of a wrong passcode",
                          [&view] { return view.state().error.has_value(); });
    co_await guide_.picture("unlock-wrong");
    type(view, newPasscode);
    co_await guide_.until("the web application", [this] {
        return dynamic_cast<GtkWebView*>(guide_.program().mainWindow().content()) != nullptr;
    });
    co_await guide_.untilInPage("the tasks", "document.querySelector('.task, .card') !== null");
    co_await guide_.picture("unlocked");
}

Task<> Tour::passcodeLockOut() {
    co_await guide_.untilInPage("the end of the session", "(location.href = '/login', true)");
    co_await guide_.untilSignIn();
    guide_.program().startOver();
    co_await guide_.until("the passcode screen", [this] { return guide_.passcodeScreen() != nullptr; });
    auto& view = guide_.passcodeScreen()->view();
    for (int tries = 0; tries < Passcode::triesBeforeLockOut; ++tries) {
        type(view, "000000");
        co_await guide_.until("the refusal of a wrong passcode",
                              [&view] { return view.state().error && !view.state().busy; });
    }
    co_await guide_.picture("locked-out");
    view.buttons().front().press();
    co_await guide_.untilSignIn();
}

Task<> Tour::passcodeOff() {
    auto& view = guide_.authScreen().view();
    view.type(AuthView::Field::identifier, seededUser);
    view.type(AuthView::Field::password, seededPassword);
    spawn(view.go());
    co_await guide_.until("the offer of a passcode",
                          [this] { return guide_.program().mainWindow().sheet(); });
    type(guide_.passcodeScreen()->view(), passcode);
    type(guide_.passcodeScreen()->view(), passcode);
    co_await guide_.until("the end of the passcode sheet",
                          [this] { return !guide_.program().mainWindow().sheet(); });

    guide_.program().delegate().showLockSettings({});
    guide_.lockSettings().turnOff();
    co_await guide_.picture("passcode-off", *guide_.program().mainWindow().sheetWindow());
    guide_.lockSettings().done();
}
