#include "application/linux/TourReminders.h"

#include "application/linux/Program.h"
#include "platform/Error.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/GAsync.h"
#include "web/linux/WebEngine.h"

#include <cstdlib>

namespace {

constexpr auto screenPictureVariable = "BRISKO_SCREEN_PICTURE";
constexpr auto allowButton = ".setting:has(#reminders-state) button";
/// The minute has begun, so the reminder is due at once.
constexpr auto remindNow = "(BriskoNative.syncReminders({items: [{id: 1843, title: 'Tea with Mary', "
                           "at: Date.now() + 1000, body: 'Home'}]}), true)";

/// A script that tells whether there is the button and this is true of it.
std::string whetherButton(const std::string& condition) {
    return "[...document.querySelectorAll('" + std::string(allowButton) + "')].some((b) => " + condition +
           ")";
}

/// The panel over the main window.
Gtk::Window* panelOver(Gtk::Window& parent) {
    for (auto* window : Gtk::Window::list_toplevels())
        if (window->get_mapped() && window->get_transient_for() == &parent &&
            window->has_css_class("message-panel"))
            return window;
    return nullptr;
}

Task<> savePicture(std::string program, std::string file) {
    const char* const command[] = {program.c_str(), file.c_str(), nullptr};
    GError* error = nullptr;
    const auto process = GPtr<GSubprocess>::take(g_subprocess_newv(command, G_SUBPROCESS_FLAGS_NONE, &error));
    if (!process)
        throw Error(GErrorPtr(error)->message);
    GAsync waiting;
    g_subprocess_wait_check_async(process.get(), nullptr, GAsync::ready, &waiting);
    const auto result = co_await waiting.settlement();
    if (!g_subprocess_wait_check_finish(process.get(), result.get(), &error))
        throw Error("The picture of the screen: " + std::string(GErrorPtr(error)->message));
}

} // namespace

Task<> TourReminders::run() {
    const auto* program = std::getenv(screenPictureVariable);
    const std::string screenPicture = program ? program : "";
    auto opening = openSettings();
    co_await std::move(opening);
    auto looking = guide_.page().evaluateForResult("return " + whetherButton("!b.hidden"));
    const auto isVisible = co_await std::move(looking);
    const auto isAsked = isVisible && *isVisible == true;
    const auto isShown = isAsked && !screenPicture.empty();
    if (isAsked) {
        auto asking = question(isShown);
        co_await std::move(asking);
    }
    if (isShown) {
        auto reminding = reminder();
        co_await std::move(reminding);
    }
    auto scrolling = guide_.untilInPage(
        "the settings of this computer",
        "(document.getElementById('lock-summary').scrollIntoView({block: 'center'}), true)");
    co_await std::move(scrolling);
    auto section = guide_.picture("this-computer");
    co_await std::move(section);
    if (isShown) {
        auto saving = savePicture(screenPicture, guide_.folder() / "notification.png");
        co_await std::move(saving);
    }
    auto leaving = signOut();
    co_await std::move(leaving);
}

Task<> TourReminders::openSettings() {
    auto list = guide_.untilInPage("the tasks", "document.querySelector('.task, .card') !== null");
    co_await std::move(list);
    auto pressing = guide_.pressInPage(",", false);
    co_await std::move(pressing);
    auto filled = guide_.untilInPage("the settings of this computer",
                                     "document.getElementById('lock-summary')?.textContent > '' && "
                                     "document.getElementById('reminders-state').textContent > ''");
    co_await std::move(filled);
}

Task<> TourReminders::question(bool isAllowed) {
    auto clicking = guide_.clickInPage(allowButton);
    co_await std::move(clicking);
    auto& window = guide_.program().mainWindow().window();
    auto appearing = guide_.until("the question", [&window] { return panelOver(window) != nullptr; });
    co_await std::move(appearing);
    auto asked = guide_.picture("notifications-question", *panelOver(window));
    co_await std::move(asked);
    if (isAllowed)
        panelOver(window)->get_default_widget()->activate();
    else
        panelOver(window)->close();
    auto answered = guide_.untilInPage("the answer", whetherButton("!b.disabled"));
    co_await std::move(answered);
}

Task<> TourReminders::reminder() {
    auto reminding = guide_.untilInPage("a reminder", remindNow);
    co_await std::move(reminding);
    const auto log = guide_.program().reminderPlace().logFile();
    auto showing = guide_.until("the notification", [&log] {
        return DurableFile::read(log).value_or("").find("\"shown\":\"brisko.task.1843\"") !=
               std::string::npos;
    });
    co_await std::move(showing);
}

Task<> TourReminders::signOut() {
    auto leaving = guide_.signOutInPage();
    co_await std::move(leaving);
    const auto pending = guide_.program().reminderPlace().pendingFile();
    auto dropped = guide_.until("no reminders", [&pending] { return !std::filesystem::exists(pending); });
    co_await std::move(dropped);
}
