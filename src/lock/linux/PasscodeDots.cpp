#include "lock/linux/PasscodeDots.h"

#include "platform/Color.h"

#include <gdkmm/frameclock.h>
#include <gtkmm/settings.h>

#include <cmath>
#include <numbers>

namespace {

constexpr double diameter = 16;
constexpr double gap = 16;
constexpr int rowHeight = 24;
constexpr double line = 1.5;
constexpr double lineWhite = 0.32;
constexpr double shakeOffset = 9;
/// The default animation of 0.35 s at six times its speed, there and back and there again.
constexpr double legMicroseconds = 350000.0 / 6;
constexpr int legs = 3;

double easeInOut(double progress) {
    return (1 - std::cos(progress * std::numbers::pi)) / 2;
}

} // namespace

PasscodeDots::PasscodeDots() {
    set_draw_func(sigc::mem_fun(*this, &PasscodeDots::draw));
    set_content_height(rowHeight);
}

void PasscodeDots::show(std::size_t expected, std::size_t typed) {
    if (expected == expected_ && typed == typed_)
        return;
    expected_ = expected;
    typed_ = typed;
    // Room for the shake on both sides, so that the row stays centred.
    set_content_width(static_cast<int>(static_cast<double>(expected) * (diameter + gap) + 2 * shakeOffset));
    queue_draw();
}

void PasscodeDots::setWrong(bool wrong) {
    if (wrong == wrong_)
        return;
    wrong_ = wrong;
    if (!get_mapped() || !get_settings()->property_gtk_enable_animations()) {
        offset_ = wrong ? shakeOffset : 0;
        queue_draw();
        return;
    }
    shakeStarted_ = 0;
    if (shake_ == 0)
        shake_ = add_tick_callback(
            [this](const Glib::RefPtr<Gdk::FrameClock>& clock) { return step(clock->get_frame_time()); });
}

bool PasscodeDots::step(gint64 microseconds) {
    if (shakeStarted_ == 0)
        shakeStarted_ = microseconds;
    const auto target = wrong_ ? shakeOffset : 0;
    const auto elapsed = static_cast<double>(microseconds - shakeStarted_) / legMicroseconds;
    const auto leg = static_cast<int>(elapsed);
    const auto over = leg >= legs;
    if (over) {
        offset_ = target;
        shake_ = 0;
    } else {
        const auto progress = easeInOut(elapsed - leg);
        const auto towards = leg % 2 == 0 ? progress : 1 - progress;
        offset_ = (shakeOffset - target) + (2 * target - shakeOffset) * towards;
    }
    queue_draw();
    return !over;
}

void PasscodeDots::draw(const Cairo::RefPtr<Cairo::Context>& context, int width, int height) const {
    const auto count = static_cast<double>(expected_);
    const auto row = count * diameter + (count - 1) * gap;
    auto x = (width - row) / 2 + offset_ + diameter / 2;
    for (std::size_t i = 0; i < expected_; ++i, x += diameter + gap) {
        context->begin_new_path();
        context->arc(x, height / 2.0, (diameter - line) / 2, 0, 2 * std::numbers::pi);
        if (i < typed_) {
            context->set_source_rgb(Chrome::accent.red, Chrome::accent.green, Chrome::accent.blue);
            context->fill_preserve();
        }
        context->set_source_rgb(lineWhite, lineWhite, lineWhite);
        context->set_line_width(line);
        context->stroke();
    }
}
