#pragma once

#include <gtkmm/box.h>

/// The program's name in its two colours, at the head of every native screen.
class Wordmark : public Gtk::Box {
public:
    Wordmark();
};
