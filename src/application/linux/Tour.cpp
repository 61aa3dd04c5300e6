#include "application/linux/Tour.h"

#include "account/linux/AuthScreen.h"
#include "application/linux/Program.h"
#include "application/linux/WindowPicture.h"
#include "platform/Error.h"
#include "web/linux/WebEngine.h"

#include <glibmm/main.h>

#include <chrono>
#include <cstdio>

namespace {

constexpr std::chrono::seconds patience(30);
constexpr std::chrono::milliseconds glance(15);
constexpr int minimumWidth = 820;
constexpr int minimumHeight = 560;
/// How often the page may be asked for a value: often enough to be quick, seldom enough to leave it room.
constexpr std::chrono::milliseconds pageGlance(40);

/// The account that the embedded service starts with.
constexpr auto seededUser = "ada";
constexpr auto seededPassword = "lovelace-1843";

Task<> later(std::chrono::milliseconds delay) {
    const auto over = std::make_shared<Completion<Done>>();
    Glib::signal_timeout().connect_once([over] { over->resolve(Done()); }, static_cast<unsigned int>(delay.count()));
    co_await over->settlement();
}

bool isTrue(const std::optional<Json>& value) {
    return value && value->is_boolean() && value->get<bool>();
}

} // namespace

Tour::Tour(std::filesystem::path folder, Program& program) : folder_(std::move(folder)), program_(program) {}

Task<> Tour::run(std::function<void(bool)> finished) {
    bool succeeded = true;
    try {
        std::filesystem::create_directories(folder_);
        auto first = signInMode();
        co_await std::move(first);
        auto second = signUpMode();
        co_await std::move(second);
        auto third = resetMode();
        co_await std::move(third);
        auto fourth = googlePanel();
        co_await std::move(fourth);
        auto fifth = webApplication();
        co_await std::move(fifth);
        auto sixth = signOut();
        co_await std::move(sixth);
        std::printf("%d pictures in %s\n", pictures_, folder_.c_str());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "brisko: the tour ended early: %s\n", failure.what());
        succeeded = false;
    }
    finished(succeeded);
}

Task<> Tour::signInMode() {
    auto appearing = until("the sign-in screen", [this] { return program_.mainWindow().content() != nullptr; });
    co_await std::move(appearing);
    auto empty = picture("sign-in");
    co_await std::move(empty);

    auto& view = authScreen().view();
    view.type(AuthView::Field::identifier, seededUser);
    view.type(AuthView::Field::password, "not the password");
    program_.demo()->pause();
    spawn(view.go());
    auto busy = picture("signing-in");
    co_await std::move(busy);
    program_.demo()->goOn();
    auto refused = until("the refusal of a wrong password", [&view] { return view.state().error.has_value(); });
    co_await std::move(refused);
    view.toggleReveal();
    auto refusal = picture("sign-in-refused");
    co_await std::move(refusal);
    view.toggleReveal();
}

Task<> Tour::signUpMode() {
    auto& view = authScreen().view();
    program_.demo()->pause();
    view.switchTo(AuthView::Mode::signUp);
    auto waiting = picture("sign-up-loading");
    co_await std::move(waiting);
    program_.demo()->goOn();
    auto loading = until("the verification image", [&view] { return view.state().captcha.has_value(); });
    co_await std::move(loading);
    view.type(AuthView::Field::identifier, seededUser);
    view.type(AuthView::Field::email, "ada@brisko.example");
    view.type(AuthView::Field::password, seededPassword);
    view.type(AuthView::Field::captcha, "tour");
    auto filled = picture("sign-up");
    co_await std::move(filled);

    const auto size = program_.mainWindow().frame();
    program_.mainWindow().setFrame(Window::Frame(minimumWidth, minimumHeight));
    spawn(view.go());
    auto refused = until("the refusal of a taken name", [&view] { return view.state().error && !view.state().busy; });
    co_await std::move(refused);
    auto refusal = picture("sign-up-refused-minimum-size");
    co_await std::move(refusal);
    program_.mainWindow().setFrame(size);
}

Task<> Tour::resetMode() {
    auto& view = authScreen().view();
    view.switchTo(AuthView::Mode::forgot);
    view.type(AuthView::Field::email, "ada@brisko.example");
    spawn(view.go());
    auto answered = until("the notice of the reset", [&view] { return view.state().notice.has_value(); });
    co_await std::move(answered);
    auto notice = picture("reset");
    co_await std::move(notice);
    view.switchTo(AuthView::Mode::signIn);
}

Task<> Tour::googlePanel() {
    auto& view = authScreen().view();
    spawn(view.googleSignIn());
    auto appearing = until("the panel of the Google sign-in", [this] {
        auto* panel = program_.browserPanel().window();
        return panel && panel->get_mapped();
    });
    co_await std::move(appearing);
    auto panelPicture = picture("google-panel", *program_.browserPanel().window());
    co_await std::move(panelPicture);
    program_.browserPanel().window()->close();
    auto over = until("the end of the Google sign-in", [&view] { return !view.state().busy; });
    co_await std::move(over);
    auto after = picture("google-given-up");
    co_await std::move(after);
}

Task<> Tour::webApplication() {
    auto& view = authScreen().view();
    view.type(AuthView::Field::identifier, seededUser);
    view.type(AuthView::Field::password, seededPassword);
    spawn(view.go());
    auto showing =
        until("the web application", [this] { return dynamic_cast<GtkWebView*>(program_.mainWindow().content()); });
    co_await std::move(showing);
    auto list = untilInPage("the task list", "document.querySelector('.task') !== null");
    co_await std::move(list);
    auto listPicture = picture("tasks");
    co_await std::move(listPicture);

    auto toBoard = pressInPage("v", true);
    co_await std::move(toBoard);
    auto board = untilInPage("the kanban", "document.querySelector('.board .card') !== null");
    co_await std::move(board);
    auto boardPicture = picture("kanban");
    co_await std::move(boardPicture);

    const std::pair<const char*, const char*> dialogs[] = {
        {"n", "new-task"}, {"k", "search-all-tasks"}, {",", "settings"}};
    for (const auto& [key, name] : dialogs) {
        auto pressing = pressInPage(key, false);
        co_await std::move(pressing);
        auto opening = untilInPage(name, "document.querySelector('dialog[open]') !== null");
        co_await std::move(opening);
        auto dialogPicture = picture(name);
        co_await std::move(dialogPicture);
        if (std::string(name) == "settings")
            break;
        auto closing = untilInPage("a closed dialog", "(document.querySelector('dialog[open]')?.close(), "
                                                      "document.querySelector('dialog[open]') === null)");
        co_await std::move(closing);
    }
    auto light = clickInPage(".theme[data-theme=light] input");
    co_await std::move(light);
    auto themed = untilInPage("the light theme", "document.documentElement.dataset.theme === 'light'");
    co_await std::move(themed);
    auto lightPicture = picture("settings-light");
    co_await std::move(lightPicture);
}

Task<> Tour::signOut() {
    auto leaving = untilInPage("the sign-out button",
                               "[...document.querySelectorAll('dialog[open] button')]"
                               ".filter((b) => b.textContent === 'Sign out').map((b) => b.click()).length === 1");
    co_await std::move(leaving);
    auto back =
        until("the sign-in screen again", [this] { return dynamic_cast<AuthScreen*>(program_.mainWindow().content()); });
    co_await std::move(back);
    auto remembered = picture("signed-out");
    co_await std::move(remembered);
}

AuthScreen& Tour::authScreen() {
    return dynamic_cast<AuthScreen&>(*program_.mainWindow().content());
}

GtkWebView& Tour::page() {
    return dynamic_cast<GtkWebView&>(*program_.mainWindow().content());
}

Task<> Tour::until(std::string what, std::function<bool()> condition) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            throw Error("Waited in vain for " + what + ".");
        auto waiting = later(glance);
        co_await std::move(waiting);
    }
}

Task<> Tour::untilInPage(std::string what, std::string script) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (true) {
        auto asking = page().evaluateForResult("return " + script);
        const auto value = co_await std::move(asking);
        if (isTrue(value))
            co_return;
        if (std::chrono::steady_clock::now() > deadline)
            throw Error("Waited in vain for " + what + ".");
        auto waiting = later(pageGlance);
        co_await std::move(waiting);
    }
}

Task<> Tour::drawn() {
    // A colour that fades and a page that paints in its own process take a few frames; afterwards nothing moves.
    auto settling = later(std::chrono::milliseconds(300));
    co_await std::move(settling);
}

Task<> Tour::picture(std::string name) {
    return picture(std::move(name), program_.mainWindow().window());
}

Task<> Tour::picture(std::string name, Gtk::Window& window) {
    auto drawing = drawn();
    co_await std::move(drawing);
    pictures_ += 1;
    constexpr int twoDigits = 100;
    const auto number = std::to_string(twoDigits + pictures_).substr(1);
    saveWindowPicture(window, folder_ / (number + "-" + name + ".png"));
}

Task<> Tour::pressInPage(std::string key, bool shift) {
    auto pressing = page().evaluateForResult("return document.body.dispatchEvent(new KeyboardEvent('keydown', {key: '" + key +
                                             "', metaKey: true, shiftKey: " + (shift ? "true" : "false") +
                                             ", bubbles: true, cancelable: true}))");
    co_await std::move(pressing);
}

Task<> Tour::clickInPage(std::string selector) {
    auto clicking = page().evaluateForResult("document.querySelector('" + selector + "').click()");
    co_await std::move(clicking);
}
