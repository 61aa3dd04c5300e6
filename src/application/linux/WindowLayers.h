#pragma once

#include "platform/linux/GPtr.h"
#include "platform/linux/OneShotTimer.h"

#include <gtkmm/box.h>
#include <gtkmm/overlay.h>
#include <gtkmm/window.h>

#include <chrono>
#include <functional>
#include <map>
#include <vector>

/// The layers of the main window: its content, an overlay over that, a blank cover with the program's name
/// over both. Only the topmost of them is there for anybody: what is beneath is not drawn, not in the
/// accessibility tree, and gets no key, pointer, drop, input method or tooltip. It keeps its state, and the
/// place of the keyboard, for its return. A page beneath goes on as one in a hidden tab does.
///
/// The program's other windows go with the content. Under the overlay, which needs the keyboard that a sheet
/// would keep, they leave the screen; under the cover, which comes and goes with the desktop's activity, they
/// stay where they are and are blank. That holds for windows that open meanwhile too.
///
/// Not within reach is a dialog of the desktop's own, in a process of its own: whoever opened it takes it
/// away (`onOverlayChanged`).
class WindowLayers {
public:
    /// How long `whenDrawn` waits where the display server asks for no frames.
    static constexpr std::chrono::milliseconds longestFrame{150};

    /// The window has to outlive the layers.
    explicit WindowLayers(Gtk::Window& window);
    WindowLayers(const WindowLayers&) = delete;
    WindowLayers& operator=(const WindowLayers&) = delete;
    ~WindowLayers();

    /// To be put into the window.
    Gtk::Widget& widget() { return root_; }

    /// Puts `content` in place of what was there; null for nothing. It has to outlive its time there.
    void setContent(GtkWidget* content);
    /// Lays `overlay` over the content, in place of an earlier one. It has to outlive its time there. What is
    /// selected in the program is no longer offered to others; what was copied on purpose still is.
    void showOverlay(GtkWidget* overlay);
    void removeOverlay();
    bool hasOverlay() const { return overlayWidget_ != nullptr; }
    void cover();
    void uncover();
    bool isCovered() const { return covered_; }

    /// Called when the button on the cover, or the cover itself, has been pressed.
    std::function<void()> onCoverPressed;
    /// Called when an overlay has come, and when it has gone and the windows that it had taken away are back.
    std::function<void()> onOverlayChanged;

    /// Calls `drawn` once what the layers show now is on the screen, or at once where the window is not.
    void whenDrawn(std::function<void()> drawn);

    /// The window shows nothing of the page, like the panel that says what program this is: it stays as it
    /// is under the overlay and the cover.
    static void exempt(Gtk::Window& window);

private:
    enum class Layer { content, overlay, cover };

    /// What was done to another window.
    struct Other {
        SignalConnection visible;
        bool hidden = false;
        bool blank = false;
        std::vector<GPtr<GtkWidget>> blanked; ///< its parts
        GPtr<GtkWidget> focus;
    };

    Layer top() const;
    Gtk::Widget& holderOf(Layer layer);
    void change(const std::function<void()>& what);
    void keepFocus(Layer layer);
    void giveFocus(Layer layer);

    void followWindows();
    void adjust(GtkWindow* window, Other& other);
    void adjustAll();
    static void makeBlank(GtkWindow* window, Other& other);
    static void restore(GtkWindow* window, Other& other);

    void frameDrawn();

    Gtk::Window& window_;
    Gtk::Overlay root_;
    Gtk::Box content_, overlay_, cover_;
    GtkWidget* contentWidget_ = nullptr;
    GtkWidget* overlayWidget_ = nullptr;
    bool covered_ = false;
    std::map<Layer, GPtr<GtkWidget>> focus_; ///< the place of the keyboard in a layer that is beneath
    SignalConnection list_;
    std::map<GtkWindow*, Other> others_;
    OneShotTimer returning_;
    SignalConnection painted_;
    OneShotTimer frame_;
    std::vector<std::function<void()>> drawn_;
};
