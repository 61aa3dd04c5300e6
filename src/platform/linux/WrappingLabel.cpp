#include "platform/linux/WrappingLabel.h"

#include <algorithm>

WrappingLabel::WrappingLabel(int width) : Glib::ObjectBase("BriskoWrappingLabel"), width_(width) {
    set_wrap();
    set_wrap_mode(Pango::WrapMode::WORD_CHAR);
    set_max_width_chars(1);
}

void WrappingLabel::measure_vfunc(Gtk::Orientation orientation, int forSize, int& minimum, int& natural,
                                  int& minimumBaseline, int& naturalBaseline) const {
    // Asked for its width at a height, the toolkit's label grows as wide as it takes to fit into that height.
    // Asked for its height, it is told the width of the window around the column, in which it would need
    // fewer lines.
    if (orientation == Gtk::Orientation::HORIZONTAL)
        forSize = -1;
    else
        forSize = forSize < 0 ? width_ : std::min(forSize, width_);
    Gtk::Label::measure_vfunc(orientation, forSize, minimum, natural, minimumBaseline, naturalBaseline);
}
