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

void makeChoice(Gtk::Button& button) {
    button.property_accessible_role() = Gtk::Accessible::Role::RADIO;
}

void setChosen(Gtk::Button& button, bool chosen) {
    setClass(button, "current", chosen);
    gtk_accessible_update_state(GTK_ACCESSIBLE(button.gobj()), GTK_ACCESSIBLE_STATE_CHECKED,
                                chosen ? GTK_ACCESSIBLE_TRISTATE_TRUE : GTK_ACCESSIBLE_TRISTATE_FALSE, -1);
}
