#include "application/linux/AboutWindow.h"

#include "application/linux/WindowLayers.h"

#include <glibmm/main.h>
#include <gtkmm/headerbar.h>
#include <gtkmm/image.h>
#include <gtkmm/shortcut.h>
#include <gtkmm/shortcutaction.h>
#include <gtkmm/shortcutcontroller.h>
#include <gtkmm/shortcuttrigger.h>

#include <utility>

namespace {

constexpr auto iconName = "app.brisko.Brisko";
constexpr int iconSize = 96;

/// "Version 1.2.3 (2026-01-31)", or what of it is known.
std::string versionOf(const AboutPanel::Info& info) {
    std::string text;
    if (info.applicationVersion)
        text = "Version " + *info.applicationVersion;
    if (info.version)
        text += text.empty() ? *info.version : " (" + *info.version + ")";
    return text;
}

} // namespace

AboutWindow::AboutWindow(Gtk::Application& application, Workspace& workspace)
    : application_(application), workspace_(workspace) {}

AboutWindow::~AboutWindow() = default;

void AboutWindow::show(const Info& info) {
    if (!window_)
        build();
    version_->set_text(versionOf(info));
    link_->set_uri(info.link.text());
    link_->set_label(info.credits);
    window_->present();
}

void AboutWindow::build() {
    window_ = std::make_unique<Gtk::Window>();
    // It comes up over the window that it was asked for in, as that one's, and stands by itself from then on.
    gtk_window_set_transient_for(window_->gobj(), gtk_application_get_active_window(application_.gobj()));
    window_->property_is_active().signal_changed().connect([this] {
        if (window_)
            gtk_window_set_transient_for(window_->gobj(), nullptr);
    });
    // gtkmm would take the window out of the application when it is hidden, and end the program with its
    // last.
    gtk_window_set_application(window_->gobj(), application_.gobj());
    window_->set_title("About brisko");
    window_->set_icon_name(iconName);
    window_->set_resizable(false);
    window_->add_css_class("about-window");
    auto* const header = Gtk::make_managed<Gtk::HeaderBar>();
    header->set_title_widget(*Gtk::make_managed<Gtk::Box>());
    header->set_decoration_layout(":close");
    window_->set_titlebar(*header);
    auto* const column = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL);
    fill(*column);
    window_->set_child(*column);
    // It shows nothing of the page, so it may stay while the window is locked.
    WindowLayers::exempt(*window_);
    addKeys();
    window_->signal_close_request().connect(
        [this] {
            close();
            return true;
        },
        false);
}

void AboutWindow::fill(Gtk::Box& column) {
    auto* const icon = Gtk::make_managed<Gtk::Image>();
    icon->set_from_icon_name(iconName);
    icon->set_pixel_size(iconSize);
    icon->property_accessible_role() = Gtk::Accessible::Role::PRESENTATION;
    column.append(*icon);
    auto* const name = Gtk::make_managed<Gtk::Label>("brisko");
    name->add_css_class("name");
    column.append(*name);
    version_ = Gtk::make_managed<Gtk::Label>();
    version_->add_css_class("version");
    version_->set_selectable();
    version_->set_focusable(false);
    column.append(*version_);
    link_ = Gtk::make_managed<Gtk::LinkButton>("", "");
    link_->set_halign(Gtk::Align::CENTER);
    link_->signal_activate_link().connect(
        [this] {
            if (const auto url = Url::parse(link_->get_uri().raw()))
                workspace_.open(*url);
            return true;
        },
        false);
    column.append(*link_);
}

void AboutWindow::addKeys() {
    const auto keys = Gtk::ShortcutController::create();
    for (const auto* key : {"Escape", "<Control>w"})
        keys->add_shortcut(
            Gtk::Shortcut::create(Gtk::ShortcutTrigger::parse_string(key),
                                  Gtk::CallbackAction::create([this](Gtk::Widget&, const auto&) {
                                      close();
                                      return true;
                                  })));
    window_->add_controller(keys);
}

void AboutWindow::close() {
    if (!window_)
        return;
    window_->set_visible(false);
    // It is going away inside one of its own signals; the toolkit finishes those first.
    const std::shared_ptr<Gtk::Window> old = std::move(window_);
    Glib::signal_idle().connect_once([old] {});
}
