#pragma once

#include "platform/AboutPanel.h"
#include "platform/Workspace.h"

#include <gtkmm/application.h>
#include <gtkmm/box.h>
#include <gtkmm/label.h>
#include <gtkmm/linkbutton.h>
#include <gtkmm/window.h>

#include <memory>

/// The panel that says what program this is: a small window of its own beside the main window, in the same
/// light or dark look. Escape closes it.
class AboutWindow : public AboutPanel {
public:
    /// The workspace opens the link. Both outlive the window.
    AboutWindow(Gtk::Application& application, Workspace& workspace);
    ~AboutWindow() override;

    void show(const Info& info) override;

    /// The window while it is open; null otherwise.
    Gtk::Window* window() { return window_.get(); }

private:
    void build();
    void fill(Gtk::Box& column);
    void addKeys();
    void close();

    Gtk::Application& application_;
    Workspace& workspace_;
    std::unique_ptr<Gtk::Window> window_;
    Gtk::Label* version_ = nullptr; ///< the window's, like the link
    Gtk::LinkButton* link_ = nullptr;
};
