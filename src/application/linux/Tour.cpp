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
        auto first = signInMode();
        co_await std::move(first);
        auto second = signUpMode();
        co_await std::move(second);
        auto third = resetMode();
        co_await std::move(third);
        auto fourth = googlePanel();
        co_await std::move(fourth);
        auto fifth = passcodeOffer();
        co_await std::move(fifth);
        TourWeb web(guide_);
        auto sixth = web.run();
        co_await std::move(sixth);
        TourLocks locks(guide_);
        auto locking = locks.run(passcode);
        co_await std::move(locking);
        auto seventh = passcodeChange();
        co_await std::move(seventh);
        auto eighth = signOut();
        co_await std::move(eighth);
        auto ninth = passcodeUnlock();
        co_await std::move(ninth);
        auto tenth = passcodeLockOut();
        co_await std::move(tenth);
        auto eleventh = passcodeOff();
        co_await std::move(eleventh);
        TourReminders reminders(guide_);
        auto last = reminders.run();
        co_await std::move(last);
        std::printf("%d pictures in %s\n", guide_.pictures(), guide_.folder().c_str());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "brisko: the tour ended early: %s\n", failure.what());
        succeeded = false;
    }
    finished(succeeded);
}

Task<> Tour::signInMode() {
    auto appearing = guide_.until("the sign-in screen",
                                  [this] { return guide_.program().mainWindow().content() != nullptr; });
    co_await std::move(appearing);
    auto empty = guide_.picture("sign-in");
    co_await std::move(empty);

    auto& view = guide_.authScreen().view();
    view.type(AuthView::Field::identifier, seededUser);
    view.type(AuthView::Field::password, "not the password");
    guide_.program().demo()->pause();
    spawn(view.go());
    auto busy = guide_.picture("signing-in");
    co_await std::move(busy);
    guide_.program().demo()->goOn();
    auto refused =
        guide_.until("the refusal of a wrong password", [&view] { return view.state().error.has_value(); });
    co_await std::move(refused);
    view.toggleReveal();
    auto refusal = guide_.picture("sign-in-refused");
    co_await std::move(refusal);
    view.toggleReveal();
}

Task<> Tour::signUpMode() {
    auto& view = guide_.authScreen().view();
    guide_.program().demo()->pause();
    view.switchTo(AuthView::Mode::signUp);
    auto waiting = guide_.picture("sign-up-loading");
    co_await std::move(waiting);
    guide_.program().demo()->goOn();
    auto loading =
        guide_.until("the verification image", [&view] { return view.state().captcha.has_value(); });
    co_await std::move(loading);
    view.type(AuthView::Field::identifier, seededUser);
    view.type(AuthView::Field::email, "ada@brisko.example");
    view.type(AuthView::Field::password, seededPassword);
    view.type(AuthView::Field::captcha, "tour");
    auto filled = guide_.picture("sign-up");
    co_await std::move(filled);

    const auto size = guide_.program().mainWindow().frame();
    guide_.program().mainWindow().setFrame(WindowFrame::minimum);
    spawn(view.go());
    auto refused = guide_.until("the refusal of a taken name",
                                [&view] { return view.state().error && !view.state().busy; });
    co_await std::move(refused);
    auto refusal = guide_.picture("sign-up-refused-minimum-size");
    co_await std::move(refusal);
    guide_.program().mainWindow().setFrame(size);
}

Task<> Tour::resetMode() {
    auto& view = guide_.authScreen().view();
    view.switchTo(AuthView::Mode::forgot);
    view.type(AuthView::Field::email, "ada@brisko.example");
    spawn(view.go());
    auto answered =
        guide_.until("the notice of the reset", [&view] { return view.state().notice.has_value(); });
    co_await std::move(answered);
    auto notice = guide_.picture("reset");
    co_await std::move(notice);
    view.switchTo(AuthView::Mode::signIn);
}

Task<> Tour::googlePanel() {
    auto& view = guide_.authScreen().view();
    spawn(view.googleSignIn());
    auto appearing = guide_.until("the panel of the Google sign-in", [this] {
        auto* panel = guide_.program().browserPanel().window();
        return panel && panel->get_mapped();
    });
    co_await std::move(appearing);
    auto panelPicture = guide_.picture("google-panel", *guide_.program().browserPanel().window());
    co_await std::move(panelPicture);
    guide_.program().browserPanel().window()->close();
    auto over = guide_.until("the end of the Google sign-in", [&view] { return !view.state().busy; });
    co_await std::move(over);
    auto after = guide_.picture("google-given-up");
    co_await std::move(after);
}

Task<> Tour::passcodeOffer() {
    auto& view = guide_.authScreen().view();
    view.type(AuthView::Field::identifier, seededUser);
    view.type(AuthView::Field::password, seededPassword);
    spawn(view.go());
    auto showing = guide_.until("the web application", [this] {
        return dynamic_cast<GtkWebView*>(guide_.program().mainWindow().content());
    });
    co_await std::move(showing);
    auto sheet = guide_.until("the offer of a passcode", [this] {
        auto* window = guide_.program().mainWindow().sheetWindow();
        return window && window->get_mapped() && guide_.passcodeScreen();
    });
    co_await std::move(sheet);
    auto& offer = guide_.passcodeScreen()->view();
    type(offer, "12");
    auto chosen = guide_.picture("passcode-offer", *guide_.program().mainWindow().sheetWindow());
    co_await std::move(chosen);
    type(offer, passcode);
    type(offer, "4321");
    auto mismatch = guide_.picture("passcode-mismatch", *guide_.program().mainWindow().sheetWindow());
    co_await std::move(mismatch);
    type(offer, passcode);
    type(offer, "184");
    auto confirming = guide_.picture("passcode-confirm", *guide_.program().mainWindow().sheetWindow());
    co_await std::move(confirming);
    type(offer, passcode);
    auto stored = guide_.until("the end of the passcode sheet",
                               [this] { return !guide_.program().mainWindow().sheetWindow(); });
    co_await std::move(stored);
}

Task<> Tour::passcodeChange() {
    guide_.program().delegate().showLockSettings({});
    auto settings = guide_.picture("lock-settings", *guide_.program().mainWindow().sheetWindow());
    co_await std::move(settings);
    guide_.lockSettings().pickLength(newLength);
    auto& view = guide_.passcodeScreen()->view();
    auto asking = guide_.picture("passcode-change", *guide_.program().mainWindow().sheetWindow());
    co_await std::move(asking);
    type(view, passcode);
    auto opening = guide_.until("the choice of a new passcode",
                                [&view] { return view.state().step == PasscodeView::Step::choose; });
    co_await std::move(opening);
    auto choosing = guide_.picture("passcode-change-choose", *guide_.program().mainWindow().sheetWindow());
    co_await std::move(choosing);
    type(view, newPasscode);
    type(view, newPasscode);
    auto stored = guide_.until("the lock settings again", [this] { return !guide_.passcodeScreen(); });
    co_await std::move(stored);
    guide_.lockSettings().toggleRecording();
    auto recording = guide_.picture("lock-settings-recording", *guide_.program().mainWindow().sheetWindow());
    co_await std::move(recording);
    guide_.lockSettings().done();
}

Task<> Tour::signOut() {
    auto leaving = guide_.signOutInPage();
    co_await std::move(leaving);
    auto remembered = guide_.picture("signed-out");
    co_await std::move(remembered);
}

Task<> Tour::passcodeUnlock() {
    guide_.program().startOver();
    auto appearing =
        guide_.until("the passcode screen", [this] { return guide_.passcodeScreen() != nullptr; });
    co_await std::move(appearing);
    auto& view = guide_.passcodeScreen()->view();
    auto locked = guide_.picture("unlock");
    co_await std::move(locked);
    type(view, "000000");
    auto refused =
        guide_.until("the refusal of a wrong passcode", [&view] { return view.state().error.has_value(); });
    co_await std::move(refused);
    auto wrong = guide_.picture("unlock-wrong");
    co_await std::move(wrong);
    type(view, newPasscode);
    auto showing = guide_.until("the web application", [this] {
        return dynamic_cast<GtkWebView*>(guide_.program().mainWindow().content()) != nullptr;
    });
    co_await std::move(showing);
    auto list = guide_.untilInPage("the tasks", "document.querySelector('.task, .card') !== null");
    co_await std::move(list);
    auto unlocked = guide_.picture("unlocked");
    co_await std::move(unlocked);
}

Task<> Tour::passcodeLockOut() {
    auto leaving = guide_.untilInPage("the end of the session", "(location.href = '/login', true)");
    co_await std::move(leaving);
    auto back = guide_.untilSignIn();
    co_await std::move(back);
    guide_.program().startOver();
    auto appearing =
        guide_.until("the passcode screen", [this] { return guide_.passcodeScreen() != nullptr; });
    co_await std::move(appearing);
    auto& view = guide_.passcodeScreen()->view();
    for (int tries = 0; tries < Passcode::triesBeforeLockOut; ++tries) {
        type(view, "000000");
        auto refused = guide_.until("the refusal of a wrong passcode",
                                    [&view] { return view.state().error && !view.state().busy; });
        co_await std::move(refused);
    }
    auto lockedOut = guide_.picture("locked-out");
    co_await std::move(lockedOut);
    view.buttons().front().press();
    auto over = guide_.untilSignIn();
    co_await std::move(over);
}

Task<> Tour::passcodeOff() {
    auto& view = guide_.authScreen().view();
    view.type(AuthView::Field::identifier, seededUser);
    view.type(AuthView::Field::password, seededPassword);
    spawn(view.go());
    auto sheet =
        guide_.until("the offer of a passcode", [this] { return guide_.program().mainWindow().sheet(); });
    co_await std::move(sheet);
    type(guide_.passcodeScreen()->view(), passcode);
    type(guide_.passcodeScreen()->view(), passcode);
    auto stored = guide_.until("the end of the passcode sheet",
                               [this] { return !guide_.program().mainWindow().sheet(); });
    co_await std::move(stored);

    guide_.program().delegate().showLockSettings({});
    guide_.lockSettings().turnOff();
    auto off = guide_.picture("passcode-off", *guide_.program().mainWindow().sheetWindow());
    co_await std::move(off);
    guide_.lockSettings().done();
}
