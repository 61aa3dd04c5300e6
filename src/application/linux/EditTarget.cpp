#include "application/linux/EditTarget.h"

#include "application/linux/MainWindow.h"

#include <utility>

namespace {

bool isSecret(GtkText* field) {
    const auto purpose = gtk_text_get_input_purpose(field);
    return !gtk_text_get_visibility(field) || purpose == GTK_INPUT_PURPOSE_PASSWORD ||
           purpose == GTK_INPUT_PURPOSE_PIN;
}

bool canPerformIn(GtkText* field, EditingCommand command) {
    auto* const editable = GTK_EDITABLE(field);
    const auto writable = gtk_editable_get_editable(editable) && gtk_widget_is_sensitive(GTK_WIDGET(field));
    const auto selected = gtk_editable_get_selection_bounds(editable, nullptr, nullptr) && !isSecret(field);
    switch (command) {
    case EditingCommand::undo:
    case EditingCommand::redo:
        return writable && gtk_editable_get_enable_undo(editable);
    case EditingCommand::cut:
        return writable && selected;
    case EditingCommand::copy:
        return selected;
    case EditingCommand::paste:
    case EditingCommand::pasteAsPlainText:
        return writable;
    case EditingCommand::selectAll:
        return gtk_entry_buffer_get_length(gtk_text_get_buffer(field)) > 0;
    }
    return false;
}

/// The action that the toolkit's text fields have for a command. What they hold is plain text.
const char* actionOf(EditingCommand command) {
    switch (command) {
    case EditingCommand::undo:
        return "text.undo";
    case EditingCommand::redo:
        return "text.redo";
    case EditingCommand::cut:
        return "clipboard.cut";
    case EditingCommand::copy:
        return "clipboard.copy";
    case EditingCommand::paste:
    case EditingCommand::pasteAsPlainText:
        return "clipboard.paste";
    case EditingCommand::selectAll:
        break;
    }
    return "selection.select-all";
}

} // namespace

EditTarget::EditTarget(MainWindow& window, GtkWidget* menuBar) : main_(window), menuBar_(menuBar) {
    g_weak_ref_init(&focus_, nullptr);
    auto* const widget = window.window().gobj();
    const auto moved =
        +[](GtkWindow*, GParamSpec*, gpointer self) { static_cast<EditTarget*>(self)->focusMoved(); };
    moving_ =
        SignalConnection(widget, g_signal_connect(widget, "notify::focus-widget", G_CALLBACK(moved), this));
    focusMoved();
    followSheet();
}

EditTarget::~EditTarget() {
    g_weak_ref_clear(&focus_);
}

std::optional<EditingCommand> EditTarget::commandOf(MenuCommand command) {
    switch (command) {
    case MenuCommand::undo:
        return EditingCommand::undo;
    case MenuCommand::redo:
        return EditingCommand::redo;
    case MenuCommand::cut:
        return EditingCommand::cut;
    case MenuCommand::copy:
        return EditingCommand::copy;
    case MenuCommand::paste:
        return EditingCommand::paste;
    case MenuCommand::pasteAsPlainText:
        return EditingCommand::pasteAsPlainText;
    case MenuCommand::selectAll:
        return EditingCommand::selectAll;
    default:
        return std::nullopt;
    }
}

bool EditTarget::canPerform(EditingCommand command) const {
    const auto focused = focus();
    if (GTK_IS_TEXT(focused.get()))
        return canPerformIn(GTK_TEXT(focused.get()), command);
    return main_.pageAround(focused.get()) != nullptr;
}

void EditTarget::perform(EditingCommand command) {
    restoreFocus();
    const auto focused = focus();
    if (!canPerform(command))
        return;
    if (GTK_IS_TEXT(focused.get()))
        gtk_widget_activate_action(focused.get(), actionOf(command), nullptr);
    else
        main_.pageAround(focused.get())->execute(command);
}

void EditTarget::followSheet() {
    sheet_.clear();
    const auto moved =
        +[](GtkWindow*, GParamSpec*, gpointer self) { static_cast<EditTarget*>(self)->keyboardMoved(); };
    if (auto* const sheet = main_.sheetWindow())
        for (const auto* signal : {"notify::focus-widget", "notify::visible"})
            sheet_.emplace_back(sheet->gobj(),
                                g_signal_connect(sheet->gobj(), signal, G_CALLBACK(moved), this));
    keyboardMoved();
}

void EditTarget::focusMoved() {
    auto* const focused = gtk_window_get_focus(GTK_WINDOW(main_.window().gobj()));
    if (focused && gtk_widget_is_ancestor(focused, menuBar_))
        return;
    g_weak_ref_set(&focus_, focused);
    keyboardMoved();
}

void EditTarget::keyboardMoved() {
    const auto focused = focus();
    watchField(GTK_IS_TEXT(focused.get()) ? GTK_TEXT(focused.get()) : nullptr);
    if (onChanged)
        onChanged();
}

void EditTarget::watchField(GtkText* field) {
    editing_.clear();
    if (!field)
        return;
    const auto changed = +[](GtkText*, GParamSpec*, gpointer data) {
        const auto* const self = static_cast<EditTarget*>(data);
        if (self->onChanged)
            self->onChanged();
    };
    for (const auto* signal : {"notify::text", "notify::selection-bound", "notify::cursor-position",
                               "notify::visibility", "notify::editable", "notify::sensitive"})
        editing_.emplace_back(field, g_signal_connect(field, signal, G_CALLBACK(changed), this));
}

void EditTarget::restoreFocus() {
    const auto wanted = focus();
    if (!wanted || gtk_widget_is_focus(wanted.get()))
        return;
    // A field selects its whole text when it gets the keyboard in any other way.
    if (GTK_IS_TEXT(wanted.get()))
        gtk_text_grab_focus_without_selecting(GTK_TEXT(wanted.get()));
    else
        gtk_widget_grab_focus(wanted.get());
}

GPtr<GtkWidget> EditTarget::focus() const {
    if (main_.hasVisibleSheet())
        return GPtr<GtkWidget>::share(gtk_window_get_focus(main_.sheetWindow()->gobj()));
    auto widget = GPtr<GtkWidget>::take(GTK_WIDGET(g_weak_ref_get(&focus_)));
    if (widget && gtk_widget_get_root(widget.get()) != GTK_ROOT(main_.window().gobj()))
        return {};
    return widget;
}
