#pragma once

#include <gtkmm/widget.h>

#include <vector>

/// A column whose gaps give way. Where all of it fits, every gap has its usual height, and what is left over
/// is above the last child, which stays at the end; where it does not, the gaps shrink together, down to the
/// least that they may have. Only then does the column ask for more height than it gets. Lengths are CSS
/// pixels.
class GapColumn : public Gtk::Widget {
public:
    struct Gap {
        int usual = 0;
        int least = 0;
    };

    /// `end` is below the last child.
    explicit GapColumn(Gap end);
    ~GapColumn() override;

    /// A child that is not visible has no gap above it either. The column does not own it.
    void append(Gtk::Widget& child, Gap above);

protected:
    Gtk::SizeRequestMode get_request_mode_vfunc() const override;
    void measure_vfunc(Gtk::Orientation orientation, int forSize, int& minimum, int& natural,
                       int& minimumBaseline, int& naturalBaseline) const override;
    void size_allocate_vfunc(int width, int height, int baseline) override;

private:
    struct Row {
        Gtk::Widget* child;
        Gap above;
    };

    std::vector<Row> visibleRows() const;
    Gap allGaps() const;

    Gap end_;
    std::vector<Row> rows_;
};
