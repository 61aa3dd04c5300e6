#include "platform/linux/GapColumn.h"

#include <algorithm>

namespace {

int heightOf(const Gtk::Widget& child, int width) {
    int minimum = 0;
    int natural = 0;
    int ignored = 0;
    child.measure(Gtk::Orientation::VERTICAL, width, minimum, natural, ignored, ignored);
    return natural;
}

} // namespace

GapColumn::GapColumn(Gap end) : Glib::ObjectBase("BriskoGapColumn"), end_(end) {}

GapColumn::~GapColumn() {
    // A child that somebody else owns may have gone before.
    while (auto* child = gtk_widget_get_first_child(gobj()))
        gtk_widget_unparent(child);
}

void GapColumn::append(Gtk::Widget& child, Gap above) {
    child.set_parent(*this);
    rows_.push_back({&child, above});
}

std::vector<GapColumn::Row> GapColumn::visibleRows() const {
    std::vector<Row> rows;
    std::copy_if(rows_.begin(), rows_.end(), std::back_inserter(rows),
                 [](const Row& row) { return row.child->get_visible(); });
    return rows;
}

GapColumn::Gap GapColumn::allGaps() const {
    auto sum = end_;
    for (const auto& row : visibleRows()) {
        sum.usual += row.above.usual;
        sum.least += row.above.least;
    }
    return sum;
}

Gtk::SizeRequestMode GapColumn::get_request_mode_vfunc() const {
    return Gtk::SizeRequestMode::HEIGHT_FOR_WIDTH;
}

void GapColumn::measure_vfunc(Gtk::Orientation orientation, int forSize, int& minimum, int& natural,
                              int& minimumBaseline, int& naturalBaseline) const {
    minimum = natural = 0;
    minimumBaseline = naturalBaseline = -1;
    if (orientation == Gtk::Orientation::VERTICAL) {
        const auto gaps = allGaps();
        minimum = gaps.least;
        natural = gaps.usual;
    }
    for (const auto& row : visibleRows()) {
        if (orientation == Gtk::Orientation::VERTICAL) {
            const auto height = heightOf(*row.child, forSize);
            minimum += height;
            natural += height;
            continue;
        }
        int least = 0;
        int wanted = 0;
        int ignored = 0;
        row.child->measure(orientation, -1, least, wanted, ignored, ignored);
        minimum = std::max(minimum, least);
        natural = std::max(natural, wanted);
    }
}

void GapColumn::size_allocate_vfunc(int width, int height, int) {
    const auto rows = visibleRows();
    const auto gaps = allGaps();
    auto room = height;
    for (const auto& row : rows)
        room -= heightOf(*row.child, width);
    const auto give = gaps.usual - gaps.least;
    const auto share = give > 0 ? std::clamp(double(room - gaps.least) / give, 0.0, 1.0) : 1.0;
    auto y = 0.0;
    for (const auto& row : rows) {
        y += row.above.least + share * (row.above.usual - row.above.least);
        const auto rowHeight = heightOf(*row.child, width);
        if (&row == &rows.back())
            y = std::max(y, double(height - rowHeight) - (end_.least + share * (end_.usual - end_.least)));
        row.child->size_allocate({0, static_cast<int>(y), width, rowHeight}, -1);
        y += rowHeight;
    }
}
