#include "bench/ScreenPixels.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::chrono_literals;

constexpr unsigned long nobodysColor = 0xff00ff;
constexpr int requiredDepth = 24;
/// Two ways of rounding a colour that a style sheet gives in percent.
constexpr int tolerance = 2;
/// Shorter pieces are letters and lines.
constexpr int shortestPiece = 24;
/// The area that is watched. It is tall, since a line of text that comes later moves what is beside it by a
/// few pixels.
constexpr int watchedWidth = 8;
constexpr int watchedHeight = 40;
constexpr int enoughPixels = 16;
constexpr auto patience = 10s;

struct Destroy {
    void operator()(XImage* image) const { XDestroyImage(image); }
};
using Image = std::unique_ptr<XImage, Destroy>;

Image imageOf(Display* display, Window window, int x, int y, int width, int height) {
    Image image(XGetImage(display, window, x, y, static_cast<unsigned>(width), static_cast<unsigned>(height),
                          AllPlanes, ZPixmap));
    if (!image)
        throw std::runtime_error("the screen cannot be read");
    return image;
}

bool isNear(unsigned long pixel, ScreenPixels::Color color) {
    for (int shift = 0; shift <= 16; shift += 8)
        if (std::abs(static_cast<int>(pixel >> shift & 0xff) - static_cast<int>(color >> shift & 0xff)) >
            tolerance)
            return false;
    return true;
}

} // namespace

ScreenPixels::ScreenPixels() : display_(XOpenDisplay(nullptr)) {
    if (!display_)
        throw std::runtime_error("there is no X11 display");
    auto* display = display_.get();
    if (DefaultDepth(display, DefaultScreen(display)) != requiredDepth)
        throw std::runtime_error("the display has not 24 bits of colour");
    root_ = DefaultRootWindow(display);
    width_ = DisplayWidth(display, DefaultScreen(display));
    height_ = DisplayHeight(display, DefaultScreen(display));
    XSetWindowBackground(display, root_, nobodysColor);
    XClearWindow(display, root_);
    XSync(display, False);
}

void ScreenPixels::waitForWindowManager() const {
    const auto check = XInternAtom(display_.get(), "_NET_SUPPORTING_WM_CHECK", False);
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        Atom type = None;
        int format = 0;
        unsigned long count = 0;
        unsigned long left = 0;
        unsigned char* value = nullptr;
        XGetWindowProperty(display_.get(), root_, check, 0, 1, False, XA_WINDOW, &type, &format, &count,
                           &left, &value);
        if (value)
            XFree(value);
        if (type == XA_WINDOW)
            return;
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("there is no window manager");
        std::this_thread::sleep_for(20ms);
    }
}

std::optional<ScreenPixels::Point> ScreenPixels::find(Color color) const {
    const auto image = imageOf(display_.get(), root_, 0, 0, width_, height_);
    Point best;
    int longest = shortestPiece - 1;
    for (int y = 0; y < height_; ++y) {
        int length = 0;
        for (int x = 0; x < width_; ++x) {
            length = isNear(XGetPixel(image.get(), x, y), color) ? length + 1 : 0;
            if (length > longest) {
                longest = length;
                best = {x - length / 2, y};
            }
        }
    }
    if (longest < shortestPiece)
        return std::nullopt;
    return best;
}

bool ScreenPixels::shows(Point point, Color color) const {
    const auto left = std::clamp(point.x - watchedWidth / 2, 0, width_ - watchedWidth);
    const auto top = std::clamp(point.y - watchedHeight / 2, 0, height_ - watchedHeight);
    const auto image = imageOf(display_.get(), root_, left, top, watchedWidth, watchedHeight);
    int count = 0;
    for (int y = 0; y < watchedHeight; ++y)
        for (int x = 0; x < watchedWidth; ++x)
            count += isNear(XGetPixel(image.get(), x, y), color) ? 1 : 0;
    return count >= enoughPixels;
}
