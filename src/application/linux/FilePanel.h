#pragma once

#include "application/linux/OpenPanel.h"
#include "platform/Panels.h"

#include <gtkmm/filechoosernative.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

/// The desktop's own dialog for choosing files, through its portal inside a sandbox. It offers either files
/// or folders, so that folders cannot be chosen even where a choice would allow them beside files.
class FilePanel final : public OpenPanel, public std::enable_shared_from_this<FilePanel> {
public:
    using Chosen = std::function<void(std::vector<std::filesystem::path>)>;

    /// `chosen` is called once at most, when the dialog is off the screen. It may let go of the panel. What
    /// is not on this machine's file system cannot be chosen.
    static std::shared_ptr<FilePanel> make(Panels::FileChoice choice, Chosen chosen);
    ~FilePanel() override;

    void present(Gtk::Window& parent) override;
    void hide() override;
    void close() override;

private:
    FilePanel(Panels::FileChoice choice, Chosen chosen);

    void create(Gtk::Window& parent);
    void answer(int response);

    Panels::FileChoice choice_;
    Chosen chosen_;
    Glib::RefPtr<Gtk::FileChooserNative> dialog_; ///< while it is shown
};
