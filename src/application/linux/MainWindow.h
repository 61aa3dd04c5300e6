#pragma once

#include "application/WindowFrame.h"
#include "application/linux/WindowLayers.h"
#include "platform/UserDefaults.h"
#include "platform/Window.h"

#include <gtkmm/applicationwindow.h>
#include <gtkmm/box.h>
#include <gtkmm/cssprovider.h>
#include <gtkmm/headerbar.h>

#include <functional>
#include <memory>
#include <optional>

class GtkWebView;

/// The one main window. Closing it hides it; it lives as long as the program. Its frame is kept from one run
/// to the next.
///
/// Its header is one flat row in the window's colour, with the menu bar and the window's buttons. It stays in
/// full screen.
class MainWindow final : public Window {
public:
    /// The defaults have to outlive the window.
    MainWindow(const Glib::RefPtr<Gtk::Application>& application, UserDefaults& defaults);
    ~MainWindow() override;

    Frame frame() const override;
    void setFrame(Frame frame) override;
    void setContent(Screen& screen) override;
    void presentSheet(Screen& screen) override;
    void dismissSheet() override;
    void showOverlay(Screen& screen) override;
    bool hasOverlay() const override { return layers_.hasOverlay(); }
    void removeOverlay() override { layers_.removeOverlay(); }
    void cover() override { layers_.cover(); }
    void uncover() override { layers_.uncover(); }
    bool isCovered() const override { return layers_.isCovered(); }
    void whenDrawn(std::function<void()> drawn) override { layers_.whenDrawn(std::move(drawn)); }
    /// The look is drawn with the next frame, however often it changes until then.
    void setAppearance(Appearance appearance) override;
    void setBackground(Color color) override;
    void present() override;

    /// The screen in the window; null before the first one.
    Screen* content() const { return content_; }
    /// The sheet's window and its screen while there is one; null otherwise.
    Gtk::Window* sheetWindow() { return sheet_.get(); }
    Screen* sheet() const { return sheetScreen_; }
    /// Whether there is a sheet and the person sees it: an overlay takes it off the screen.
    bool hasVisibleSheet() const { return sheet_ && sheet_->get_visible(); }
    /// The page in the window, when `widget` is part of it; null otherwise.
    GtkWebView* pageAround(GtkWidget* widget) const;
    /// Leaves the window empty, so that the screen in it can go.
    void removeContent();
    Gtk::ApplicationWindow& window() { return window_; }
    /// The overlay and the cover.
    WindowLayers& layers() { return layers_; }
    /// Puts the menu bar into the header. It has to outlive its time there.
    void setMenuBar(Gtk::Widget& menuBar);
    void removeMenuBar(Gtk::Widget& menuBar) { header_.remove(menuBar); }
    /// Called when a sheet has come, while `sheetWindow()` is not shown yet, and when it has gone.
    std::function<void()> onSheetChanged;

private:
    struct Look {
        std::optional<Appearance> appearance;
        std::optional<Color> background;

        bool operator==(const Look&) const = default;
    };

    void buildHeader();
    void restoreFrame();
    void useStandardSize();
    void makeUpForBorder();
    void watchFrame();
    void keepFrame();
    void lookAs(const Look& look);
    void draw();

    UserDefaults& defaults_;
    Gtk::ApplicationWindow window_;
    Gtk::Box column_{Gtk::Orientation::VERTICAL};
    Gtk::HeaderBar header_;
    WindowLayers layers_{window_};
    Glib::RefPtr<Gtk::CssProvider> style_;
    Look drawn_;
    Look wanted_;
    bool drawingSoon_ = false;
    sigc::connection keeping_; ///< the frame has changed and is kept soon
    bool isNew_ = false;       ///< no frame has been kept, and the window has not been shown yet
    Screen* content_ = nullptr;
    std::unique_ptr<Gtk::Window> sheet_;
    Screen* sheetScreen_ = nullptr;
};
