#pragma once

#include <X11/Xlib.h>

#include <cstdint>
#include <memory>
#include <optional>

/// What can be seen on an X11 display without a compositor: the pixels of its root window.
class ScreenPixels {
public:
    /// Red, green and blue, eight bits each.
    using Color = std::uint32_t;
    struct Point {
        int x = 0;
        int y = 0;
    };

    /// Opens the display named in the environment and gives the root window a colour that no program shows.
    /// Throws std::runtime_error when there is none, or none with 24 bits.
    ScreenPixels();

    /// Returns once a window manager has taken charge. Throws std::runtime_error when none comes.
    void waitForWindowManager() const;
    /// The middle of the widest piece of a row in this colour; none where no row has a piece worth watching.
    std::optional<Point> find(Color color) const;
    /// Whether a small area around the point shows the colour.
    bool shows(Point point, Color color) const;

private:
    struct Close {
        void operator()(Display* display) const { XCloseDisplay(display); }
    };

    std::unique_ptr<Display, Close> display_;
    Window root_;
    int width_;
    int height_;
};
