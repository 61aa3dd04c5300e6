#include "application/linux/FilePanel.h"

#include "application/linux/WindowStack.h"
#include "platform/linux/GPtr.h"

#include <glibmm/main.h>
#include <gtkmm/dialog.h>
#include <gtkmm/filefilter.h>

#include <utility>

FilePanel::FilePanel(Panels::FileChoice choice, Chosen chosen)
    : choice_(std::move(choice)), chosen_(std::move(chosen)) {}

std::shared_ptr<FilePanel> FilePanel::make(Panels::FileChoice choice, Chosen chosen) {
    return std::shared_ptr<FilePanel>(new FilePanel(std::move(choice), std::move(chosen)));
}

FilePanel::~FilePanel() {
    close();
}

void FilePanel::present(Gtk::Window& parent) {
    if (!chosen_)
        return;
    if (!dialog_)
        create(parent);
    dialog_->show();
}

void FilePanel::create(Gtk::Window& parent) {
    const auto* const title = choice_.multiple ? "Choose files" : "Choose a file";
    dialog_ =
        Gtk::FileChooserNative::create(title, parent, Gtk::FileChooser::Action::OPEN, "_Open", "_Cancel");
    dialog_->set_modal();
    dialog_->set_select_multiple(choice_.multiple);
    if (!choice_.types.empty()) {
        const auto wanted = Gtk::FileFilter::create();
        wanted->set_name("Suitable files");
        for (const auto& type : choice_.types)
            wanted->add_mime_type(type);
        dialog_->add_filter(wanted);
        const auto all = Gtk::FileFilter::create();
        all->set_name("All files");
        all->add_pattern("*");
        dialog_->add_filter(all);
    }
    dialog_->signal_response().connect([self = weak_from_this()](int response) {
        if (const auto panel = self.lock())
            panel->answer(response);
    });
}

void FilePanel::answer(int response) {
    std::vector<std::filesystem::path> paths;
    if (response == Gtk::ResponseType::ACCEPT) {
        const auto files =
            GPtr<GListModel>::take(gtk_file_chooser_get_files(dialog_->Gtk::FileChooser::gobj()));
        for (guint i = 0; i < g_list_model_get_n_items(files.get()); ++i) {
            const auto file = GPtr<GFile>::take(G_FILE(g_list_model_get_item(files.get(), i)));
            if (const GText path(g_file_get_path(file.get())); path)
                paths.emplace_back(path.get());
        }
    }
    const auto chosen = std::exchange(chosen_, nullptr);
    close();
    if (chosen)
        chosen(std::move(paths));
}

void FilePanel::hide() {
    if (!dialog_)
        return;
    auto* const beneath = gtk_native_dialog_get_transient_for(dialog_->Gtk::NativeDialog::gobj());
    for (const auto& window : WindowStack::all())
        if (GTK_IS_FILE_CHOOSER(window.get()) && gtk_window_get_transient_for(window.get()) == beneath)
            WindowStack::close(window.get());
    dialog_->hide();
    // The dialog may be inside one of its own signals; the toolkit finishes those first.
    Glib::signal_idle().connect_once([old = std::exchange(dialog_, {})] {});
}

void FilePanel::close() {
    chosen_ = nullptr;
    hide();
}
