#include "application/linux/TourLocks.h"

#include "application/linux/Program.h"
#include "application/linux/TourGuide.h"
#include "lock/LockSettingsView.h"

namespace {

constexpr int minutes = 15;

/// As the keyboard does it, into the field that has it.
void type(Gtk::Window& window, const char* text) {
    auto* const focus = gtk_window_get_focus(window.gobj());
    if (GTK_IS_EDITABLE(focus))
        gtk_editable_set_text(GTK_EDITABLE(focus), text);
}

} // namespace

Task<> TourLocks::run(const char* passcode) {
    co_await overlay(passcode);
    co_await cover();
    co_await settings();
}

Task<> TourLocks::overlay(const char* passcode) {
    auto& window = guide_.program().mainWindow();
    guide_.program().delegate().perform(MenuCommand::lockNow);
    co_await guide_.until("the lock", [&window] { return window.layers().hasOverlay(); });
    co_await guide_.picture("locked");
    type(window.window(), passcode);
    co_await guide_.until("the end of the lock", [&window] { return !window.layers().hasOverlay(); });
    co_await guide_.picture("lock-gone");
}

Task<> TourLocks::cover() {
    auto& window = guide_.program().mainWindow();
    window.cover();
    co_await guide_.picture("covered");
    window.uncover();
}

Task<> TourLocks::settings() {
    auto& window = guide_.program().mainWindow();
    guide_.program().delegate().perform(MenuCommand::openLockSettings);
    co_await guide_.until("the lock settings",
                          [&window] { return window.sheetWindow() && window.sheetWindow()->get_mapped(); });
    auto& view = guide_.lockSettings();
    const auto before = view.state();
    view.setAutoLock(true);
    view.editMinutes(minutes);
    co_await guide_.picture("lock-settings-automatic", *window.sheetWindow());
    view.setAutoLock(false);
    co_await guide_.picture("lock-settings-by-hand", *window.sheetWindow());
    view.clearShortcut();
    co_await guide_.picture("lock-settings-no-shortcut", *window.sheetWindow());
    view.toggleRecording();
    co_await guide_.picture("lock-settings-recorder", *window.sheetWindow());
    view.toggleRecording();
    view.useDefaultShortcut();
    view.setAutoLock(true);
    view.editMinutes(before.minutes);
    view.setAutoLock(before.autoLock);
    view.done();
    co_await guide_.until("the end of the settings", [&window] { return !window.sheetWindow(); });
}
