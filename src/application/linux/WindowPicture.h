#pragma once

#include <gtkmm/window.h>

#include <filesystem>

/// Writes what the window shows, its header and open menus included, to a PNG file. False when it
/// shows nothing yet; throws Error when the file cannot be written.
bool saveWindowPicture(Gtk::Window& window, const std::filesystem::path& file);
