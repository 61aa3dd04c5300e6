#include "platform/linux/Wordmark.h"

#include <gtkmm/label.h>

Wordmark::Wordmark() {
    add_css_class("wordmark");
    set_halign(Gtk::Align::CENTER);
    append(*Gtk::make_managed<Gtk::Label>("bris"));
    auto* second = Gtk::make_managed<Gtk::Label>("ko");
    second->add_css_class("ko");
    append(*second);
}
