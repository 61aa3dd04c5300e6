#include "bench/ScreenPixels.h"

#include <X11/extensions/XTest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int usageError = 2;
constexpr auto patience = 10s;
/// Between two looks; the display server has other things to do too.
constexpr auto glance = 200us;

/// The keyboard of the display.
class Keyboard {
public:
    Keyboard() : display_(XOpenDisplay(nullptr)) {
        if (!display_)
            throw std::runtime_error("there is no X11 display");
    }
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;
    ~Keyboard() { XCloseDisplay(display_); }

    KeyCode find(const std::string& name) const {
        const auto code = XKeysymToKeycode(display_, XStringToKeysym(name.c_str()));
        if (code == 0)
            throw std::runtime_error("there is no key " + name);
        return code;
    }
    /// Returns once the display server has it.
    void set(KeyCode key, Bool pressed) const {
        XTestFakeKeyEvent(display_, key, pressed, CurrentTime);
        XSync(display_, False);
    }

private:
    Display* display_;
};

double measure(ScreenPixels::Color color, const std::vector<std::string>& names) {
    const ScreenPixels screen;
    const Keyboard keyboard;
    const auto place = screen.find(color);
    if (!place || !screen.shows(*place, color))
        throw std::runtime_error("nothing on the screen has the colour");
    std::vector<KeyCode> keys;
    keys.reserve(names.size());
    for (const auto& name : names)
        keys.push_back(keyboard.find(name));
    for (auto key = keys.begin(); key != keys.end() - 1; ++key)
        keyboard.set(*key, True);
    const auto start = Clock::now();
    keyboard.set(keys.back(), True);
    auto gone = false;
    while (!gone && Clock::now() - start < patience) {
        std::this_thread::sleep_for(glance);
        gone = !screen.shows(*place, color);
    }
    const auto end = Clock::now();
    for (auto key = keys.rbegin(); key != keys.rend(); ++key)
        keyboard.set(*key, False);
    if (!gone)
        throw std::runtime_error("the colour stays");
    return std::chrono::duration<double, std::milli>(end - start).count();
}

} // namespace

/// Prints the milliseconds from a key's press until what it takes away is off the screen.
int main(int count, char** arguments) {
    if (count < 3) {
        std::fputs(
            "usage: key-to-pixel COLOUR KEY…\n\n"
            "Looks for the colour (RRGGBB), presses the keys, all but the last to hold them, and waits for "
            "it to go.\nKeys are named as in X11 (Control_L, l).\n",
            stderr);
        return usageError;
    }
    try {
        const auto color = static_cast<ScreenPixels::Color>(std::stoul(arguments[1], nullptr, 16));
        std::printf("%.2f\n", measure(color, {arguments + 2, arguments + count}));
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "key-to-pixel: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
