#pragma once

#include <gtkmm/window.h>

/// A panel that waits for its answer. It has none of its own to give when it is closed from outside or goes.
class OpenPanel {
public:
    virtual ~OpenPanel() = default;

    /// Shows it as a sheet of `parent`. Nothing happens once it has been answered or closed.
    virtual void present(Gtk::Window& parent) = 0;
    /// Takes it off the screen, for `present` to bring it back.
    virtual void hide() = 0;
    /// Takes it off the screen for good, without an answer.
    virtual void close() = 0;
};
