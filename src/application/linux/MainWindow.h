#pragma once

#include "platform/Window.h"

#include <gtkmm/applicationwindow.h>
#include <gtkmm/cssprovider.h>
#include <gtkmm/headerbar.h>

#include <memory>

/// The one main window. Closing it hides it; it lives as long as the program.
class MainWindow : public Window {
public:
    explicit MainWindow(const Glib::RefPtr<Gtk::Application>& application);
    ~MainWindow() override;

    Frame frame() const override;
    void setFrame(Frame frame) override;
    void setContent(Screen& screen) override;
    void presentSheet(Screen& screen) override;
    void dismissSheet() override;
    void setAppearance(Appearance appearance) override;
    void setBackground(Color color) override;
    void present() override;

    /// The screen in the window; null before the first one.
    Screen* content() const { return content_; }
    /// The sheet's window and its screen while there is one; null otherwise.
    Gtk::Window* sheetWindow() { return sheet_.get(); }
    Screen* sheet() const { return sheetScreen_; }
    /// Leaves the window empty, so that the screen in it can go.
    void removeContent();
    Gtk::ApplicationWindow& window() { return window_; }

private:
    Gtk::ApplicationWindow window_;
    Gtk::HeaderBar header_;
    Glib::RefPtr<Gtk::CssProvider> style_;
    Screen* content_ = nullptr;
    std::unique_ptr<Gtk::Window> sheet_;
    Screen* sheetScreen_ = nullptr;
};
