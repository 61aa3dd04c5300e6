#pragma once

#include "account/BrowserAuthentication.h"

#include <gtkmm/application.h>
#include <gtkmm/window.h>

#include <memory>

/// The panel "Continue in your browser…" with its one button, modal over the window that the person is using.
class BrowserPanel : public AuthenticationPanel {
public:
    /// The application has to outlive the panel.
    explicit BrowserPanel(Gtk::Application& application) : application_(application) {}
    ~BrowserPanel() override;

    void show(std::function<void()> onCancel) override;
    void hide() override;

    /// The panel while it is shown, for the tour's pictures; null otherwise.
    Gtk::Window* window() { return panel_.get(); }

private:
    void cancel();

    Gtk::Application& application_;
    std::unique_ptr<Gtk::Window> panel_;
    std::function<void()> onCancel_;
};

/// The window that a sign-in attaches to: the one with the keyboard; without one the first of the
/// application's; where there is none at all, a new blank one that belongs to the application.
Gtk::Window& presentationAnchor(Gtk::Application& application);
