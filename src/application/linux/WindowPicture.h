#pragma once

#include <gtkmm/window.h>

#include <filesystem>

/// Writes what the window shows, its header and open menus included, to a PNG file. Throws Error when it
/// shows nothing yet or the file cannot be written.
void saveWindowPicture(Gtk::Window& window, const std::filesystem::path& file);
