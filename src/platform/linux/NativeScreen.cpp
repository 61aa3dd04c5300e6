#include "platform/linux/NativeScreen.h"

namespace {

constexpr int minimumWidth = 420;
constexpr int minimumHeight = 520;
constexpr int margin = 12;

} // namespace

void layOutNativeScreen(Gtk::ScrolledWindow& root, Gtk::Box& column, int width, const char* name) {
    root.add_css_class("native-screen");
    root.add_css_class(name);
    root.set_policy(Gtk::PolicyType::NEVER, Gtk::PolicyType::AUTOMATIC);
    root.set_size_request(minimumWidth, minimumHeight);
    column.set_halign(Gtk::Align::CENTER);
    column.set_valign(Gtk::Align::CENTER);
    column.set_size_request(width, -1);
    column.set_margin(margin);
    root.set_child(column);
}

void setClass(Gtk::Widget& widget, const char* name, bool present) {
    if (present)
        widget.add_css_class(name);
    else
        widget.remove_css_class(name);
}
