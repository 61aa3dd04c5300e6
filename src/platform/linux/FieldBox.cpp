#include "platform/linux/FieldBox.h"

#include "platform/SecretText.h"

#include <gdkmm/clipboard.h>
#include <gdkmm/contentprovider.h>
#include <gtkmm/eventcontrollerfocus.h>
#include <gtkmm/gestureclick.h>

namespace {

using GetValue = gboolean (*)(GdkContentProvider* offer, GValue* value, GError** error);
constexpr const char* silenced = "brisko-silenced";
constexpr const char* originalGetValue = "brisko-original-get-value";

gboolean giveUnlessSilenced(GdkContentProvider* offer, GValue* value, GError** error) {
    if (g_object_get_data(G_OBJECT(offer), silenced) && G_VALUE_HOLDS_STRING(value)) {
        g_value_set_static_string(value, "");
        return TRUE;
    }
    const auto original = reinterpret_cast<GetValue>(
        g_type_get_qdata(G_OBJECT_TYPE(offer), g_quark_from_static_string(originalGetValue)));
    return original(offer, value, error);
}

/// Makes what a field offers as the primary selection an empty text, whatever is selected in it.
///
/// The toolkit has no switch for this: its fields offer the selected text in clear once it is revealed. An
/// offer that is taken back takes the selection in the field with it, and leaves X11 clients waiting for an
/// answer. So the offer stays, and its class is taught to keep silent for those that belong to a secret
/// field.
void silence(GdkContentProvider* offer) {
    g_object_set_data(G_OBJECT(offer), silenced, offer);
    auto* type = GDK_CONTENT_PROVIDER_GET_CLASS(offer);
    if (type->get_value == giveUnlessSilenced)
        return;
    g_type_set_qdata(G_OBJECT_TYPE(offer), g_quark_from_static_string(originalGetValue),
                     reinterpret_cast<gpointer>(type->get_value));
    type->get_value = giveUnlessSilenced;
}

} // namespace

FieldBox::FieldBox(Kind kind)
    : entry_(GTK_EDITABLE(kind == Kind::secret ? gtk_password_entry_new() : gtk_entry_new())),
      text_(Glib::wrap(GTK_TEXT(gtk_editable_get_delegate(entry_)))) {
    add_css_class("field-box");
    gtk_widget_set_hexpand(GTK_WIDGET(entry_), TRUE);
    gtk_editable_set_width_chars(entry_, 1);
    gtk_box_append(gobj(), GTK_WIDGET(entry_));
    // Corrections and completions have no place in names, addresses and passwords.
    text_->set_input_hints(Gtk::InputHints::NO_SPELLCHECK | Gtk::InputHints::NO_EMOJI |
                           Gtk::InputHints::LOWERCASE);
    text_->signal_changed().connect([this] {
        if (onTyped)
            onTyped(text());
    });
    const auto activated = +[](GtkText*, gpointer self) {
        if (const auto& callback = static_cast<FieldBox*>(self)->onReturn)
            callback();
    };
    g_signal_connect(text_->gobj(), "activate", G_CALLBACK(activated), this);
    const auto focus = Gtk::EventControllerFocus::create();
    focus->signal_enter().connect([this] {
        if (onFocus)
            onFocus(true);
    });
    focus->signal_leave().connect([this] {
        if (onFocus)
            onFocus(false);
    });
    text_->add_controller(focus);
    if (kind == Kind::secret)
        keepSecret();
}

void FieldBox::keepSecret() {
    text_->set_enable_undo(false);
    text_->set_input_purpose(Gtk::InputPurpose::PASSWORD);
    text_->set_input_hints(Gtk::InputHints::NO_SPELLCHECK | Gtk::InputHints::NO_EMOJI |
                           Gtk::InputHints::PRIVATE);

    // Keys, the context menu and any caller end in these two signals.
    const auto refuse = +[](GtkText* text, gpointer) {
        const auto* name = g_signal_name(g_signal_get_invocation_hint(text)->signal_id);
        g_signal_stop_emission_by_name(text, name);
    };
    g_signal_connect(text_->gobj(), "copy-clipboard", G_CALLBACK(refuse), nullptr);
    g_signal_connect(text_->gobj(), "cut-clipboard", G_CALLBACK(refuse), nullptr);

    text_->get_primary_clipboard()->signal_changed().connect(
        sigc::mem_fun(*this, &FieldBox::silencePrimarySelection));

    // Pressing inside a selection would begin to drag it out of the field. Further presses select anew by
    // themselves.
    const auto press = Gtk::GestureClick::create();
    press->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
    press->signal_pressed().connect([this](int count, double, double) {
        int begin = 0;
        int end = 0;
        if (count == 1 && text_->get_selection_bounds(begin, end))
            text_->select_region(end, end);
    });
    text_->add_controller(press);
}

void FieldBox::silencePrimarySelection() {
    // The toolkit offers what is selected here at once, and hands it out only on request, which comes through
    // the main loop: later than this.
    const auto primary = text_->get_primary_clipboard();
    int begin = 0;
    int end = 0;
    if (primary->is_local() && text_->get_selection_bounds(begin, end))
        if (const auto offer = primary->get_content())
            silence(offer->gobj());
}

void FieldBox::setText(std::string_view text) {
    if (this->text() == text)
        return;
    // The toolkit wants an end that a view need not have.
    std::string copy(text);
    gtk_editable_set_text(entry_, copy.c_str());
    SecretText::wipe(copy);
    text_->set_position(-1);
}

void FieldBox::setPlaceholder(const std::string& placeholder) {
    text_->set_placeholder_text(placeholder);
    gtk_accessible_update_property(GTK_ACCESSIBLE(entry_), GTK_ACCESSIBLE_PROPERTY_LABEL, placeholder.c_str(),
                                   GTK_ACCESSIBLE_PROPERTY_PLACEHOLDER, placeholder.c_str(), -1);
}

void FieldBox::setAccessibleName(const std::string& name) {
    gtk_accessible_update_property(GTK_ACCESSIBLE(entry_), GTK_ACCESSIBLE_PROPERTY_LABEL, name.c_str(), -1);
}

void FieldBox::setAccessibleDescription(const std::string& description) {
    gtk_accessible_update_property(GTK_ACCESSIBLE(entry_), GTK_ACCESSIBLE_PROPERTY_DESCRIPTION,
                                   description.c_str(), -1);
}

void FieldBox::setRevealed(bool revealed) {
    text_->set_visibility(revealed);
}

void FieldBox::setPurpose(Gtk::InputPurpose purpose) {
    text_->set_input_purpose(purpose);
}
