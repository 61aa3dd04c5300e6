#include "application/linux/MenuKeys.h"

#include "application/linux/Accelerator.h"
#include "application/linux/EditTarget.h"

#include <gtkmm/shortcutaction.h>
#include <gtkmm/shortcutcontroller.h>
#include <gtkmm/shortcuttrigger.h>

namespace {

bool alwaysWins(const MenuItem& item) {
    if (item.target == MenuItem::Target::responderChain)
        return !EditTarget::commandOf(item.command);
    return item.command == MenuCommand::lockNow;
}

/// Whatever is in front: a page that keeps asking is left by loading it again.
bool worksEverywhere(const MenuItem& item) {
    return item.command == MenuCommand::lockNow || item.command == MenuCommand::reloadPage;
}

void attach(Gtk::Window& window, const Glib::RefPtr<Gio::ListStore<Gtk::Shortcut>>& keys,
            Gtk::PropagationPhase phase) {
    const auto controller = Gtk::ShortcutController::create(keys);
    controller->set_propagation_phase(phase);
    window.add_controller(controller);
}

} // namespace

MenuKeys::MenuKeys(ActionName actionName)
    : actionName_(std::move(actionName)),
      first_(Gio::ListStore<Gtk::Shortcut>::create()),
      last_(Gio::ListStore<Gtk::Shortcut>::create()),
      everywhere_(Gio::ListStore<Gtk::Shortcut>::create()) {}

void MenuKeys::set(const Menus& menus) {
    first_->remove_all();
    last_->remove_all();
    everywhere_->remove_all();
    for (const auto& menu : menus.menus())
        for (const auto& section : menu.sections)
            for (const auto& item : section) {
                const auto accelerator =
                    item.keyEquivalent ? Accelerator::of(*item.keyEquivalent) : std::nullopt;
                if (!accelerator || item.command == MenuCommand::terminate)
                    continue;
                const auto& keys = alwaysWins(item) && !accelerator->typesText() ? first_ : last_;
                for (const auto key : accelerator->keys()) {
                    const auto shortcut = Gtk::Shortcut::create(
                        Gtk::KeyvalTrigger::create(key,
                                                   static_cast<Gdk::ModifierType>(accelerator->modifiers)),
                        Gtk::NamedAction::create(actionName_(item.command)));
                    keys->append(shortcut);
                    if (worksEverywhere(item) && !accelerator->typesText())
                        everywhere_->append(shortcut);
                }
            }
}

void MenuKeys::attachTo(Gtk::Window& window) {
    attach(window, first_, Gtk::PropagationPhase::CAPTURE);
    attach(window, last_, Gtk::PropagationPhase::BUBBLE);
}

void MenuKeys::attachToOther(GtkWindow* window) const {
    auto* const controller = gtk_shortcut_controller_new_for_model(G_LIST_MODEL(everywhere_->gobj()));
    gtk_event_controller_set_propagation_phase(controller, GTK_PHASE_CAPTURE);
    gtk_widget_add_controller(GTK_WIDGET(window), controller);
}
