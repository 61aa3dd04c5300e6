#pragma once

#include "platform/Color.h"

#include <functional>

/// One full-window content: a native screen or the web view. Its owner decides how long it lives.
class Screen {
public:
    virtual ~Screen() = default;
};

/// The one main window, made hidden.
class Window {
public:
    enum class Appearance { light, dark };

    /// In pixels of the display's logical scale. The place is the display server's business.
    struct Frame {
        int width = 0;
        int height = 0;

        bool operator==(const Frame&) const = default;
    };

    virtual ~Window() = default;

    virtual Frame frame() const = 0;
    virtual void setFrame(Frame frame) = 0;
    /// Puts `screen` into the window in place of what was there. The screen has to outlive its time in the
    /// window.
    virtual void setContent(Screen& screen) = 0;
    /// Presents `screen` as a sheet over the window, which takes no input meanwhile. There is one sheet at a
    /// time; it has to outlive its time there.
    virtual void presentSheet(Screen& screen) = 0;
    /// Takes the sheet away. Nothing happens when there is none.
    virtual void dismissSheet() = 0;
    /// Lays `screen` over the content, which stays as it is but takes no input and shows nothing, neither to
    /// the eye nor to assistive technology; the keyboard goes to the overlay. There is one overlay at a time;
    /// it has to outlive its time there. Sheets and panels that are open are behind it.
    virtual void showOverlay(Screen& screen) = 0;
    virtual bool hasOverlay() const = 0;
    /// Takes the overlay away; the keyboard goes back to where it was. Nothing happens when there is none.
    virtual void removeOverlay() = 0;
    /// Lays a blank cover with the program's name over everything in the window and over its sheets, until
    /// `uncover`.
    virtual void cover() = 0;
    virtual void uncover() = 0;
    virtual bool isCovered() const = 0;
    /// A person wants the cover to go.
    std::function<void()> onCoverPressed;
    /// Calls `drawn` once what the window shows now is on the screen, or at once where the window is not.
    virtual void whenDrawn(std::function<void()> drawn) = 0;
    virtual void setAppearance(Appearance appearance) = 0;
    virtual void setBackground(Color color) = 0;
    /// Shows the window, in front and with the keyboard, also when it was closed or minimised.
    virtual void present() = 0;
};
