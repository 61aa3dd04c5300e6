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
    auto first = overlay(passcode);
    co_await std::move(first);
    auto second = cover();
    co_await std::move(second);
    auto third = settings();
    co_await std::move(third);
}

Task<> TourLocks::overlay(const char* passcode) {
    auto& window = guide_.program().mainWindow();
    guide_.program().delegate().perform(MenuCommand::lockNow);
    auto locking = guide_.until("the lock", [&window] { return window.layers().hasOverlay(); });
    co_await std::move(locking);
    auto locked = guide_.picture("locked");
    co_await std::move(locked);
    type(window.window(), passcode);
    auto unlocking = guide_.until("the end of the lock", [&window] { return !window.layers().hasOverlay(); });
    co_await std::move(unlocking);
    auto unlocked = guide_.picture("lock-gone");
    co_await std::move(unlocked);
}

Task<> TourLocks::cover() {
    auto& window = guide_.program().mainWindow();
    window.cover();
    auto covered = guide_.picture("covered");
    co_await std::move(covered);
    window.uncover();
}

Task<> TourLocks::settings() {
    auto& window = guide_.program().mainWindow();
    guide_.program().delegate().perform(MenuCommand::openLockSettings);
    auto opening = guide_.until("the lock settings", [&window] {
        return window.sheetWindow() && window.sheetWindow()->get_mapped();
    });
    co_await std::move(opening);
    auto& view = guide_.lockSettings();
    const auto before = view.state();
    view.setAutoLock(true);
    view.editMinutes(minutes);
    auto automatic = guide_.picture("lock-settings-automatic", *window.sheetWindow());
    co_await std::move(automatic);
    view.setAutoLock(false);
    auto manual = guide_.picture("lock-settings-by-hand", *window.sheetWindow());
    co_await std::move(manual);
    view.clearShortcut();
    auto cleared = guide_.picture("lock-settings-no-shortcut", *window.sheetWindow());
    co_await std::move(cleared);
    view.toggleRecording();
    auto recording = guide_.picture("lock-settings-recorder", *window.sheetWindow());
    co_await std::move(recording);
    view.toggleRecording();
    view.useDefaultShortcut();
    view.setAutoLock(true);
    view.editMinutes(before.minutes);
    view.setAutoLock(before.autoLock);
    view.done();
    auto closing = guide_.until("the end of the settings", [&window] { return !window.sheetWindow(); });
    co_await std::move(closing);
}
