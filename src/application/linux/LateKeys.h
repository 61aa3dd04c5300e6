#pragma once

#include "platform/linux/GPtr.h"

#include <gtk/gtk.h>

#include <deque>

class MainWindow;

/// Keeps keys that a page had no use for from what has the keyboard by the time that it says so.
///
/// The engine gives every key to the page and, when the page has not taken it, back to the toolkit as if it
/// had just been pressed. A page that is slow to answer would so press the keys of its person in a menu, a
/// field for a passcode or whatever else has come up meanwhile.
class LateKeys {
public:
    /// The window has to outlive it.
    explicit LateKeys(MainWindow& window) : main_(window) {}
    LateKeys(const LateKeys&) = delete;
    LateKeys& operator=(const LateKeys&) = delete;

    /// Stands before `widget`, a window or a menu, as long as the connection is held, which must not outlive
    /// this.
    [[nodiscard]] SignalConnection guard(GtkWidget* widget);

private:
    /// What tells one key event from all others.
    struct Key {
        guint32 time;
        guint code;
        GdkEventType type;

        bool operator==(const Key&) const = default;
    };

    bool isLate(GdkEvent* event);
    bool pageHasKeyboard() const;

    MainWindow& main_;
    std::deque<Key> given_; ///< to the page, the latest last
};
