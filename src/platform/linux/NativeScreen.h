#pragma once

#include <gtkmm/box.h>
#include <gtkmm/button.h>
#include <gtkmm/scrolledwindow.h>

/// Lays a native screen out: `column`, `width` pixels wide, in the middle of `root`, which is at least 420 by
/// 520 and scrolls when the column does not fit. `name` is the screen's CSS class.
void layOutNativeScreen(Gtk::ScrolledWindow& root, Gtk::Box& column, int width, const char* name);

/// Makes the button one of several of which one is chosen.
void makeChoice(Gtk::Button& button);
/// Marks it as the one that is, or as one that is not; for assistive technology too.
void setChosen(Gtk::Button& button, bool chosen);

/// Gives the widget the CSS class `name`, or takes it away.
void setClass(Gtk::Widget& widget, const char* name, bool present);
