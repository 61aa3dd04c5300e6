#include "account/linux/BrowserPanel.h"

#include <glibmm/main.h>
#include <gtkmm/box.h>
#include <gtkmm/button.h>
#include <gtkmm/label.h>
#include <gtkmm/shortcut.h>
#include <gtkmm/shortcutaction.h>
#include <gtkmm/shortcutcontroller.h>
#include <gtkmm/shortcuttrigger.h>
#include <gtkmm/spinner.h>

Gtk::Window& presentationAnchor(Gtk::Application& application) {
    if (auto* active = application.get_active_window())
        return *active;
    const auto windows = application.get_windows();
    if (!windows.empty())
        return *windows.front();
    auto* blank = Gtk::make_managed<Gtk::Window>();
    application.add_window(*blank);
    return *blank;
}

BrowserPanel::~BrowserPanel() = default;

void BrowserPanel::show(std::function<void()> onCancel) {
    hide();
    onCancel_ = std::move(onCancel);

    panel_ = std::make_unique<Gtk::Window>();
    panel_->set_transient_for(presentationAnchor(application_));
    panel_->set_modal();
    panel_->set_resizable(false);
    panel_->set_decorated(false);
    panel_->set_title("Continue in your browser…");
    panel_->add_css_class("browser-panel");

    auto* content = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL, 18);
    auto* row = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, 12);
    row->set_halign(Gtk::Align::CENTER);
    auto* spinner = Gtk::make_managed<Gtk::Spinner>();
    spinner->set_spinning();
    row->append(*spinner);
    row->append(*Gtk::make_managed<Gtk::Label>("Continue in your browser…"));
    content->append(*row);
    auto* button = Gtk::make_managed<Gtk::Button>("Cancel");
    button->set_halign(Gtk::Align::CENTER);
    button->signal_clicked().connect([this] { cancel(); });
    content->append(*button);
    panel_->set_child(*content);
    panel_->set_default_widget(*button);

    const auto shortcuts = Gtk::ShortcutController::create();
    shortcuts->add_shortcut(
        Gtk::Shortcut::create(Gtk::KeyvalTrigger::create(GDK_KEY_Escape),
                              Gtk::CallbackAction::create([this](Gtk::Widget&, const auto&) {
                                  cancel();
                                  return true;
                              })));
    panel_->add_controller(shortcuts);
    panel_->signal_close_request().connect(
        [this] {
            cancel();
            return true;
        },
        false);
    panel_->present();
    button->grab_focus();
}

void BrowserPanel::cancel() {
    if (const auto onCancel = std::exchange(onCancel_, nullptr))
        onCancel();
}

void BrowserPanel::hide() {
    onCancel_ = nullptr;
    if (!panel_)
        return;
    panel_->set_visible(false);
    // The panel may be going away inside one of its own signals; the toolkit finishes those first.
    const std::shared_ptr<Gtk::Window> old = std::move(panel_);
    Glib::signal_idle().connect_once([old] {});
}
