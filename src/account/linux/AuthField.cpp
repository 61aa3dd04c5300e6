#include "account/linux/AuthField.h"

#include <gdkmm/clipboard.h>
#include <gtkmm/eventcontrollerfocus.h>
#include <gtkmm/gestureclick.h>

AuthField::AuthField(Kind kind) {
    add_css_class("auth-field");
    text_.set_hexpand();
    text_.set_propagate_text_width(false);
    text_.set_width_chars(1);
    // Corrections and completions have no place in names, addresses and passwords.
    text_.set_input_hints(Gtk::InputHints::NO_SPELLCHECK | Gtk::InputHints::NO_EMOJI | Gtk::InputHints::LOWERCASE);
    append(text_);
    text_.signal_changed().connect([this] {
        if (onTyped)
            onTyped(text());
    });
    const auto activated = +[](GtkText*, gpointer self) {
        if (const auto& callback = static_cast<AuthField*>(self)->onReturn)
            callback();
    };
    g_signal_connect(text_.gobj(), "activate", G_CALLBACK(activated), this);
    const auto focus = Gtk::EventControllerFocus::create();
    focus->signal_enter().connect([this] {
        if (onFocus)
            onFocus(true);
    });
    focus->signal_leave().connect([this] {
        if (onFocus)
            onFocus(false);
    });
    text_.add_controller(focus);
    if (kind == Kind::secret)
        keepSecret();
}

void AuthField::keepSecret() {
    text_.set_buffer(Glib::wrap(GTK_ENTRY_BUFFER(gtk_password_entry_buffer_new())));
    text_.set_visibility(false);
    text_.set_enable_undo(false);
    text_.set_input_purpose(Gtk::InputPurpose::PASSWORD);
    text_.set_input_hints(Gtk::InputHints::NO_SPELLCHECK | Gtk::InputHints::NO_EMOJI | Gtk::InputHints::PRIVATE);

    // Keys, the context menu and any caller end in these two signals.
    const auto refuse = +[](GtkText* text, gpointer) {
        const auto* name = g_signal_name(g_signal_get_invocation_hint(text)->signal_id);
        g_signal_stop_emission_by_name(text, name);
    };
    g_signal_connect(text_.gobj(), "copy-clipboard", G_CALLBACK(refuse), nullptr);
    g_signal_connect(text_.gobj(), "cut-clipboard", G_CALLBACK(refuse), nullptr);

    text_.property_selection_bound().signal_changed().connect([this] { dropPrimarySelection(); });
    text_.property_cursor_position().signal_changed().connect([this] { dropPrimarySelection(); });

    // Pressing inside a selection would begin to drag it out of the field.
    const auto press = Gtk::GestureClick::create();
    press->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
    press->signal_pressed().connect([this](int, double, double) {
        int begin = 0;
        int end = 0;
        if (text_.get_selection_bounds(begin, end))
            text_.select_region(end, end);
    });
    text_.add_controller(press);
}

void AuthField::dropPrimarySelection() {
    // The toolkit offers selected text as the primary selection at once, and hands it out only on request, which comes
    // through the main loop: later than this.
    const auto primary = text_.get_primary_clipboard();
    if (primary->is_local() && primary->get_content())
        gdk_clipboard_set_content(primary->gobj(), nullptr);
}

void AuthField::setText(const std::string& text) {
    if (text_.get_text().raw() == text)
        return;
    text_.set_text(text);
    text_.set_position(-1);
}

void AuthField::setPlaceholder(const std::string& placeholder) {
    text_.set_placeholder_text(placeholder);
    gtk_accessible_update_property(GTK_ACCESSIBLE(text_.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL, placeholder.c_str(),
                                   GTK_ACCESSIBLE_PROPERTY_PLACEHOLDER, placeholder.c_str(), -1);
}

void AuthField::setRevealed(bool revealed) {
    text_.set_visibility(revealed);
}

void AuthField::setPurpose(Gtk::InputPurpose purpose) {
    text_.set_input_purpose(purpose);
}
