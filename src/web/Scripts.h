#pragma once

#include <string_view>

/// The scripts that every page of the service is given, the text of the files in `scripts/`.
namespace Scripts {

/// Runs at document start: the calls to the desktop, and the menu bar's way to press a shortcut.
std::string_view page();
/// Runs at document end: reports the page's colour and the account's key bindings.
std::string_view chrome();

} // namespace Scripts
