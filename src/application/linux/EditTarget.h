#pragma once

#include "application/Menus.h"
#include "platform/linux/GPtr.h"
#include "web/linux/WebEngine.h"

#include <gtk/gtk.h>

#include <functional>
#include <optional>
#include <vector>

class MainWindow;

/// What the editing items of the menus work on: the native field or the page that has the keyboard, in the
/// sheet while there is one.
///
/// A menu bar takes the keyboard while it is used. That does not count: what had it before is meant, and has
/// it again before anything is done to it.
class EditTarget {
public:
    /// The window has to outlive it. `menuBar` is the widget in the window that does not count.
    EditTarget(MainWindow& window, GtkWidget* menuBar);
    ~EditTarget();
    EditTarget(const EditTarget&) = delete;
    EditTarget& operator=(const EditTarget&) = delete;

    /// Told after what `canPerform` says may have changed.
    std::function<void()> onChanged;

    /// The editing command of a menu item; none for the items that do something else.
    static std::optional<EditingCommand> commandOf(MenuCommand command);

    /// A page takes every command. A field takes those that have something to work on; a secret one never
    /// gives its text away.
    bool canPerform(EditingCommand command) const;
    void perform(EditingCommand command);
    /// Looks for the keyboard in the sheet that has come, while it is shown, or in the window again after one
    /// has gone.
    void followSheet();
    /// Gives the keyboard back from the menu bar.
    void restoreFocus();

private:
    void focusMoved();
    void keyboardMoved();
    void watchField(GtkText* field);
    /// What has the keyboard, or had it before the menu bar; null when nothing has, or it has left the
    /// window.
    GPtr<GtkWidget> focus() const;

    MainWindow& main_;
    GtkWidget* menuBar_;
    mutable GWeakRef focus_{}; ///< in the main window
    SignalConnection moving_;
    std::vector<SignalConnection> sheet_;   ///< to the sheet
    std::vector<SignalConnection> editing_; ///< to the field with the keyboard
};
