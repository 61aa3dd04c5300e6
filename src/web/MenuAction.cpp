#include "web/MenuAction.h"

namespace {

struct Row {
    MenuAction action;
    std::string_view name;
    std::string_view combo;
};

constexpr Row rows[] = {
    {MenuAction::newTask, "newTask", "mod+n"},
    {MenuAction::spotlight, "spotlight", "mod+k"},
    {MenuAction::search, "search", "mod+f"},
    {MenuAction::toggleView, "toggleView", "mod+shift+v"},
    {MenuAction::openSettings, "openSettings", "mod+,"},
};

const Row& rowOf(MenuAction action) {
    return rows[static_cast<std::size_t>(action)];
}

} // namespace

std::string_view MenuActions::rawValue(MenuAction action) {
    return rowOf(action).name;
}

std::optional<MenuAction> MenuActions::fromRawValue(std::string_view name) {
    for (const auto& row : rows)
        if (row.name == name)
            return row.action;
    return std::nullopt;
}

std::string_view MenuActions::defaultCombo(MenuAction action) {
    return rowOf(action).combo;
}
