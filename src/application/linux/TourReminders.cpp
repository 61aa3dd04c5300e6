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
    const auto result = co_await waiting;
    if (!g_subprocess_wait_check_finish(process.get(), result.get(), &error))
        throw Error("The picture of the screen: " + std::string(GErrorPtr(error)->message));
}

} // namespace

Task<> TourReminders::run() {
    const auto* program = std::getenv(screenPictureVariable);
    const std::string screenPicture = program ? program : "";
    co_await openSettings();
    const auto isVisible = co_await guide_.page().evaluateForResult("return " + whetherButton("!b.hidden"));
    const auto isAsked = isVisible && *isVisible == true;
    const auto isShown = isAsked && !screenPicture.empty();
    if (isAsked) {
        co_await question(isShown);
    }
    if (isShown) {
        co_await reminder();
    }
    co_await guide_.untilInPage(
        "the settings of this computer",
        "(document.getElementById('lock-summary').scrollIntoView({block: 'center'}), true)");
    co_await guide_.picture("this-computer");
    if (isShown) {
        co_await savePicture(screenPicture, guide_.folder() / "notification.png");
    }
    co_await signOut();
}

Task<> TourReminders::openSettings() {
    co_await guide_.untilInPage("the tasks", "document.querySelector('.task, .card') !== null");
    co_await guide_.pressInPage(",", false);
    co_await guide_.untilInPage("the settings of this computer",
                                "document.getElementById('lock-summary')?.textContent > '' && "
                                "document.getElementById('reminders-state').textContent > ''");
}

Task<> TourReminders::question(bool isAllowed) {
    co_await guide_.clickInPage(allowButton);
    auto& window = guide_.program().mainWindow().window();
    co_await guide_.until("the question", [&window] { return panelOver(window) != nullptr; });
    co_await guide_.picture("notifications-question", *panelOver(window));
    if (isAllowed)
        panelOver(window)->get_default_widget()->activate();
    else
        panelOver(window)->close();
    co_await guide_.untilInPage("the answer", whetherButton("!b.disabled"));
}

Task<> TourReminders::reminder() {
    co_await guide_.untilInPage("a reminder", remindNow);
    const auto log = guide_.program().reminderPlace().logFile();
    co_await guide_.until("the notification", [&log] {
        return DurableFile::read(log).value_or("").find("\"shown\":\"brisko.task.1843\"") !=
               std::string::npos;
    });
}

Task<> TourReminders::signOut() {
    co_await guide_.signOutInPage();
    const auto pending = guide_.program().reminderPlace().pendingFile();
    co_await guide_.until("no reminders", [&pending] { return !std::filesystem::exists(pending); });
}
