#include "platform/linux/WrappingLabel.h"

#include <algorithm>

WrappingLabel::WrappingLabel(int width) : Glib::ObjectBase("BriskoWrappingLabel"), width_(width) {
    set_wrap();
    set_wrap_mode(Pango::WrapMode::WORD_CHAR);
    set_max_width_chars(1);
}

void WrappingLabel::measure_vfunc(Gtk::Orientation orientation, int forSize, int& minimum, int& natural,
                                  int& minimumBaseline, int& naturalBaseline) const {
    // The column has its width from elsewhere. The toolkit's label would break the text at every character to
    // find its narrowest form, which takes seconds for a long word, and, asked for its width at a height,
    // grow as wide as it takes to fit into that height.
    if (orientation == Gtk::Orientation::HORIZONTAL) {
        minimum = natural = 0;
        minimumBaseline = naturalBaseline = -1;
        return;
    }
    // Asked for its height, it is told the width of the window around the column, in which it would need
    // fewer lines.
    forSize = forSize < 0 ? width_ : std::min(forSize, width_);
    Gtk::Label::measure_vfunc(orientation, forSize, minimum, natural, minimumBaseline, naturalBaseline);
}
