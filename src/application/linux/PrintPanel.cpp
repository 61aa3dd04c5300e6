#include "application/linux/PrintPanel.h"

#include "application/linux/WindowStack.h"

#include <glibmm/main.h>
#include <gtk/gtkunixprint.h>

#include <utility>

namespace {

/// What the engine does by itself on any printer.
constexpr auto abilities = static_cast<GtkPrintCapabilities>(
    GTK_PRINT_CAPABILITY_PAGE_SET | GTK_PRINT_CAPABILITY_COPIES | GTK_PRINT_CAPABILITY_COLLATE |
    GTK_PRINT_CAPABILITY_REVERSE | GTK_PRINT_CAPABILITY_SCALE | GTK_PRINT_CAPABILITY_NUMBER_UP |
    GTK_PRINT_CAPABILITY_NUMBER_UP_LAYOUT);

} // namespace

PrintPanel::PrintPanel(std::shared_ptr<PagePrintJob> job, std::function<void()> closed)
    : job_(std::move(job)), closed_(std::move(closed)) {}

std::shared_ptr<PrintPanel> PrintPanel::make(std::shared_ptr<PagePrintJob> job,
                                             std::function<void()> closed) {
    return std::shared_ptr<PrintPanel>(new PrintPanel(std::move(job), std::move(closed)));
}

PrintPanel::~PrintPanel() {
    close();
}

void PrintPanel::present(Gtk::Window& parent) {
    if (!job_)
        return;
    if (!dialog_)
        create();
    gtk_window_set_transient_for(dialog_.get(), parent.gobj());
    gtk_window_present(dialog_.get());
}

void PrintPanel::create() {
    auto* const dialog = GTK_PRINT_UNIX_DIALOG(gtk_print_unix_dialog_new("Print", nullptr));
    gtk_print_unix_dialog_set_manual_capabilities(dialog, abilities);
    gtk_print_unix_dialog_set_embed_page_setup(dialog, TRUE);
    dialog_ = GPtr<GtkWindow>::share(GTK_WINDOW(dialog));
    gtk_window_set_modal(dialog_.get(), TRUE);
    const auto answered =
        +[](GtkDialog*, int response, gpointer self) { static_cast<PrintPanel*>(self)->answer(response); };
    g_signal_connect(dialog, "response", G_CALLBACK(answered), this);
}

void PrintPanel::answer(int response) {
    const auto self = shared_from_this(); // whoever is told may let go of it
    const auto job = std::exchange(job_, nullptr);
    const auto closed = std::exchange(closed_, nullptr);
    if (job && response == GTK_RESPONSE_OK) {
        auto* const dialog = GTK_PRINT_UNIX_DIALOG(dialog_.get());
        const auto settings = GPtr<GtkPrintSettings>::take(gtk_print_unix_dialog_get_settings(dialog));
        job->print(settings.get(), gtk_print_unix_dialog_get_page_setup(dialog));
    }
    close();
    if (closed)
        closed();
}

/// Not to come back: it would show a page that may be another one by then.
void PrintPanel::hide() {
    if (dialog_)
        answer(GTK_RESPONSE_CANCEL);
}

void PrintPanel::close() {
    job_ = nullptr;
    closed_ = nullptr;
    const auto dialog = std::exchange(dialog_, {});
    if (!dialog)
        return;
    g_signal_handlers_disconnect_by_data(dialog.get(), this);
    WindowStack::close(dialog.get());
    gtk_widget_set_visible(GTK_WIDGET(dialog.get()), FALSE);
    // The dialog may be inside one of its own signals; the toolkit finishes those first.
    Glib::signal_idle().connect_once([dialog] { gtk_window_destroy(dialog.get()); });
}
