#include "application/Menus.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace {

constexpr auto command = KeyModifier::command;
constexpr auto delegate = MenuItem::Target::delegate;
constexpr auto responderChain = MenuItem::Target::responderChain;

using Sections = std::vector<std::vector<MenuItem>>;

MenuItem own(const char* title, MenuCommand what, const char* key = nullptr) {
    MenuItem item = {title, what, std::nullopt, delegate, std::nullopt};
    if (key)
        item.keyEquivalent = KeyEquivalent{key, command};
    return item;
}

MenuItem chained(const char* title, MenuCommand what, const char* key = nullptr,
                 KeyModifiers modifiers = command) {
    MenuItem item = {title, what, std::nullopt, responderChain, std::nullopt};
    if (key)
        item.keyEquivalent = KeyEquivalent{key, modifiers};
    return item;
}

MenuItem page(const char* title, MenuCommand what, MenuAction action) {
    return {title, what, Menus::keys(MenuActions::defaultCombo(action)), delegate, action};
}

Sections applicationMenu() {
    using enum MenuCommand;
    return {{own("About brisko", showAbout)},
            {page("Settings…", openSettings, MenuAction::openSettings),
             own("Lock & Passcode…", openLockSettings), own("Lock Now", lockNow),
             own("Notifications…", openNotifications)},
            {chained("Hide brisko", hide, "h"),
             chained("Hide Others", hideOtherApplications, "h", command | KeyModifier::option),
             chained("Show All", unhideAllApplications)},
            {chained("Quit brisko", terminate, "q")}};
}

Sections fileMenu() {
    using enum MenuCommand;
    return {{page("New Task", newTask, MenuAction::newTask)},
            {page("Search All Tasks", searchAll, MenuAction::spotlight),
             page("Filter This List", filterList, MenuAction::search)},
            {chained("Close Window", performClose, "w")}};
}

Sections editMenu() {
    using enum MenuCommand;
    return {
        {chained("Undo", undo, "z"), chained("Redo", redo, "z", command | KeyModifier::shift)},
        {chained("Cut", cut, "x"), chained("Copy", copy, "c"), chained("Paste", paste, "v"),
         chained("Paste and Match Style", pasteAsPlainText, "v",
                 command | KeyModifier::option | KeyModifier::shift),
         chained("Select All", selectAll, "a")},
    };
}

Sections viewMenu() {
    using enum MenuCommand;
    return {
        {own("Reload", reloadPage, "r")},
        {own("Actual Size", actualSize, "0"), own("Zoom In", zoomIn, "+"), own("Zoom Out", zoomOut, "-")},
        {page("Switch List / Kanban", switchView, MenuAction::toggleView)},
        {chained("Enter Full Screen", toggleFullScreen, "f", command | KeyModifier::control)},
    };
}

Sections windowMenu() {
    using enum MenuCommand;
    return {{chained("Minimize", performMiniaturize, "m"), chained("Zoom", performZoom)},
            {chained("Bring All to Front", arrangeInFront)}};
}

Sections helpMenu() {
    using enum MenuCommand;
    return {{own("brisko Guides", openGuides), own("Privacy Policy", openPrivacy)}};
}

/// The words for keys that type no character of their own, with the code point that stands for each in a key
/// equivalent: ASCII controls, and for the arrows AppKit's function keys from U+F700 on.
constexpr std::pair<std::string_view, const char*> namedKeys[] = {
    {"enter", "\r"},          {"backspace", "\b"},      {"delete", "\x7F"},
    {"space", " "},           {"escape", "\x1B"},       {"up", "\xEF\x9C\x80"},
    {"down", "\xEF\x9C\x81"}, {"left", "\xEF\x9C\x82"}, {"right", "\xEF\x9C\x83"},
};

constexpr std::pair<std::string_view, KeyModifiers> modifierWords[] = {
    {"mod", KeyModifier::command},
    {"alt", KeyModifier::option},
    {"shift", KeyModifier::shift},
};

std::vector<std::string_view> wordsOf(std::string_view combo) {
    std::vector<std::string_view> words;
    while (!combo.empty()) {
        const auto word = combo.substr(0, combo.find('+'));
        if (!word.empty())
            words.push_back(word);
        combo.remove_prefix(std::min(word.size() + 1, combo.size()));
    }
    return words;
}

/// The value that a table has for `word`, or else `otherwise`.
template <class Table, class Value>
Value lookUp(const Table& table, std::string_view word, Value otherwise) {
    for (const auto& [name, value] : table)
        if (name == word)
            return value;
    return otherwise;
}

/// Calls `visit` with every item of menus that may be constant.
template <class List, class Visit>
void eachItem(List& menus, Visit visit) {
    for (auto& menu : menus)
        for (auto& section : menu.sections)
            for (auto& item : section)
                visit(item);
}

template <class List>
auto& itemIn(List& menus, MenuCommand what) {
    decltype(&menus.front().sections.front().front()) found = nullptr;
    eachItem(menus, [&](auto& item) {
        if (item.command == what)
            found = &item;
    });
    if (!found)
        throw std::logic_error("a command without a menu item");
    return *found;
}

/// Whether that made a difference.
template <class Value>
bool replace(Value& value, Value replacement) {
    return std::exchange(value, std::move(replacement)) != value;
}

} // namespace

Menus::Menus(const LockShortcut& lockShortcut)
    : lockShortcut_(lockShortcut),
      menus_{{"brisko", applicationMenu()}, {"File", fileMenu()},     {"Edit", editMenu()},
             {"View", viewMenu()},          {"Window", windowMenu()}, {"Help", helpMenu()}} {
    itemIn(menus_, MenuCommand::lockNow).keyEquivalent = lockShortcut_.keyEquivalent();
}

const MenuItem& Menus::item(MenuCommand what) const {
    return itemIn(menus_, what);
}

std::optional<KeyEquivalent> Menus::keys(std::string_view combo) {
    const auto words = wordsOf(combo);
    if (words.empty())
        return std::nullopt;
    KeyEquivalent result;
    result.key = lookUp(namedKeys, words.back(), std::string(words.back()));
    for (std::size_t i = 0; i + 1 < words.size(); ++i)
        result.modifiers |= lookUp(modifierWords, words[i], KeyModifiers{0});
    return result;
}

void Menus::adopt(const Shortcuts& shortcuts) {
    bool changed = false;
    eachItem(menus_, [&](MenuItem& item) {
        if (!item.action)
            return;
        const auto found = shortcuts.find(std::string(MenuActions::rawValue(*item.action)));
        if (found == shortcuts.end())
            return;
        const auto& combo = found->second;
        changed |= replace(bound_.emplace(*item.action, true).first->second, !combo.empty());
        changed |= replace(item.keyEquivalent, keys(combo));
    });
    if (changed && onChanged)
        onChanged();
}

bool Menus::isBound(MenuAction action) const {
    const auto found = bound_.find(action);
    return found == bound_.end() || found->second;
}

void Menus::applyLockShortcut() {
    auto& item = itemIn(menus_, MenuCommand::lockNow);
    if (replace(item.keyEquivalent, lockShortcut_.keyEquivalent()) && onChanged)
        onChanged();
}

bool Menus::isEnabled(const MenuItem& item, const MenuState& state) const {
    if (item.target == MenuItem::Target::responderChain)
        return true;
    switch (item.command) {
    case MenuCommand::openGuides:
    case MenuCommand::openPrivacy:
    case MenuCommand::showAbout:
        return true;
    case MenuCommand::lockNow:
        return state.showingApp && state.hasPasscode && !state.locked;
    case MenuCommand::openNotifications:
        return !state.locked;
    default:
        return state.showingApp && (!item.action || isBound(*item.action));
    }
}
