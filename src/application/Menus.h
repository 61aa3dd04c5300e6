#pragma once

#include "lock/LockShortcut.h"
#include "platform/KeyEquivalent.h"
#include "web/MenuAction.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a menu item does.
enum class MenuCommand {
    showAbout,
    openSettings,
    openLockSettings,
    lockNow,
    openNotifications,
    hide,
    hideOtherApplications,
    unhideAllApplications,
    terminate,
    newTask,
    searchAll,
    filterList,
    performClose,
    undo,
    redo,
    cut,
    copy,
    paste,
    pasteAsPlainText,
    selectAll,
    reloadPage,
    actualSize,
    zoomIn,
    zoomOut,
    switchView,
    toggleFullScreen,
    performMiniaturize,
    performZoom,
    arrangeInFront,
    openGuides,
    openPrivacy,
};

struct MenuItem {
    /// Who carries the command out: the delegate, or whatever has the keyboard, its window and the program
    /// behind it, in this order.
    enum class Target { delegate, responderChain };

    std::string title;
    MenuCommand command;
    std::optional<KeyEquivalent> keyEquivalent;
    Target target = Target::delegate;
    /// The item presses this action's keys in the page.
    std::optional<MenuAction> action;
};

struct Menu {
    std::string title;
    /// A separator stands between one section and the next.
    std::vector<std::vector<MenuItem>> sections;
};

/// What the state of an item depends on besides the account's bindings.
struct MenuState {
    bool showingApp = false;  ///< the web application fills the window, locked or not
    bool hasPasscode = false; ///< there is something to unlock with
    bool locked = false;
};

/// The program's menus as data: built once, then kept in step with the account's bindings and the lock
/// shortcut. A platform's menu bar mirrors it and decides nothing.
class Menus {
public:
    /// The shortcut has to outlive the menus.
    explicit Menus(const LockShortcut& lockShortcut);

    /// From left to right.
    const std::vector<Menu>& menus() const { return menus_; }
    /// The item of a command; there is one for each.
    const MenuItem& item(MenuCommand command) const;

    /// Told after a key equivalent has changed, or whether an action is bound.
    std::function<void()> onChanged;

    /// The key press that a combo names; none when it names no key. "mod" is the command key. A word that is
    /// no modifier counts for nothing, and a key that is longer than one character stays as it is.
    static std::optional<KeyEquivalent> keys(std::string_view combo);

    /// Takes on the account's bindings. An action that the map leaves out keeps its key; one with an empty
    /// combo loses it and is unbound.
    void adopt(const Shortcuts& shortcuts);
    /// True until the account is known to have no binding for it.
    bool isBound(MenuAction action) const;
    /// Looks at the lock shortcut again.
    void applyLockShortcut();

    /// Whether the delegate's item can be chosen. What goes to the responder chain is not decided here but
    /// where the keyboard is, and is enabled as far as this goes.
    bool isEnabled(const MenuItem& item, const MenuState& state) const;

private:
    const LockShortcut& lockShortcut_;
    std::vector<Menu> menus_;
    std::map<MenuAction, bool> bound_; ///< an action that is missing here is bound
};
