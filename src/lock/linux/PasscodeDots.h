#pragma once

#include <gtkmm/drawingarea.h>

#include <cstddef>

/// The row of circles that stands for the passcode: one per expected digit, filled for each that has been
/// typed.
class PasscodeDots : public Gtk::DrawingArea {
public:
    PasscodeDots();

    void show(std::size_t expected, std::size_t typed);
    /// Rests to the right while `wrong` is true; each change of it shakes the row, unless the desktop has
    /// animations switched off.
    void setWrong(bool wrong);

private:
    void draw(const Cairo::RefPtr<Cairo::Context>& context, int width, int height) const;
    bool step(gint64 microseconds);

    std::size_t expected_ = 0;
    std::size_t typed_ = 0;
    bool wrong_ = false;
    double offset_ = 0;       ///< where the row is drawn, in pixels to the right
    gint64 shakeStarted_ = 0; ///< on the frame clock, in microseconds; 0 before the first frame
    guint shake_ = 0;         ///< the tick callback of a shake under way
};
