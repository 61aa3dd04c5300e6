#pragma once

#include <gtkmm/label.h>

/// A text in a column of fixed width, over as many lines as it needs there. It never makes the column wider,
/// however long the text, or a single word of it, is.
class WrappingLabel : public Gtk::Label {
public:
    /// `width` is the column's, in CSS pixels.
    explicit WrappingLabel(int width);

protected:
    void measure_vfunc(Gtk::Orientation orientation, int forSize, int& minimum, int& natural,
                       int& minimumBaseline, int& naturalBaseline) const override;

private:
    int width_;
};
