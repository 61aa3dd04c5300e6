#pragma once

#include <string>

/// The scripts that the pages of the service are given, the text of the files in `scripts/`. They do nothing
/// in a page of any other origin than that one ("https://host:8443", as pages know their own), and put the
/// token into what they post.
namespace Scripts {

/// Runs at document start: the calls to the desktop, and the menu bar's way to press a shortcut.
std::string page(const std::string& origin, const std::string& token);
/// Runs at document end: reports the page's colour and the account's key bindings.
std::string chrome(const std::string& origin, const std::string& token);

} // namespace Scripts
