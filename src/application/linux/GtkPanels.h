#pragma once

#include "application/linux/MessagePanel.h"
#include "platform/Panels.h"

#include <gtkmm/window.h>
#include <sigc++/connection.h>

#include <memory>
#include <vector>

/// Panels as small modal windows over the main window or, where there is one already, over the sheet that is
/// in front of it.
///
/// Nothing comes up on the desktop by itself: while the main window is closed or locked, panels are off the
/// screen and wait, and they come with the window.
class GtkPanels : public Panels {
public:
    /// `window` is the main window; it has to outlive the panels.
    explicit GtkPanels(Gtk::Window& window);
    GtkPanels(const GtkPanels&) = delete;
    GtkPanels& operator=(const GtkPanels&) = delete;
    /// Closes those that are open, without an answer.
    ~GtkPanels() override;

    Handle alert(const std::string& title, const std::string& message, std::function<void()> closed) override;
    Handle confirm(const std::string& title, const std::string& message,
                   std::function<void(bool)> answered) override;
    Handle prompt(const std::string& title, const std::string& message, const std::string& suggestion,
                  std::function<void(std::optional<std::string>)> answered) override;
    Handle print(std::shared_ptr<PrintJob> job, std::function<void()> closed) override;
    Handle chooseFiles(const FileChoice& choice,
                       std::function<void(std::vector<std::filesystem::path>)> chosen) override;

    /// A message or a question of the program's own. Letting go of the handle closes it.
    [[nodiscard]] Handle ask(const MessagePanel::Content& content,
                             std::function<void(MessagePanel::Answer)> answered);

    /// Something is over the main window that wants the keyboard: panels leave the screen, and come when it
    /// has gone.
    void setBehind(bool behind);

private:
    bool mayShow() const { return window_.get_visible() && !behind_; }
    Handle open(const std::shared_ptr<OpenPanel>& panel);
    void follow();
    /// Those that somebody still holds, the oldest first.
    std::vector<std::shared_ptr<OpenPanel>> held();

    Gtk::Window& window_;
    bool behind_ = false;
    sigc::connection visibility_;
    std::vector<std::weak_ptr<OpenPanel>> panels_;
};
