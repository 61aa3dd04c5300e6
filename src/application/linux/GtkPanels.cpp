#include "application/linux/GtkPanels.h"

#include "application/linux/FilePanel.h"
#include "application/linux/MessagePanel.h"
#include "application/linux/PrintPanel.h"
#include "application/linux/WindowStack.h"

#include <utility>

GtkPanels::GtkPanels(Gtk::Window& window)
    : window_(window),
      visibility_(window.property_visible().signal_changed().connect([this] { follow(); })) {}

GtkPanels::~GtkPanels() {
    visibility_.disconnect();
    for (const auto& panel : held())
        panel->close();
}

Panels::Handle GtkPanels::alert(const std::string& title, const std::string& message,
                                std::function<void()> closed) {
    return ask({MessagePanel::Kind::message, title, message},
               [closed = std::move(closed)](auto) { closed(); });
}

Panels::Handle GtkPanels::confirm(const std::string& title, const std::string& message,
                                  std::function<void(bool)> answered) {
    return ask({MessagePanel::Kind::question, title, message},
               [answered = std::move(answered)](MessagePanel::Answer answer) {
                   answered(answer == MessagePanel::Answer::ok);
               });
}

Panels::Handle GtkPanels::ask(const MessagePanel::Content& content,
                              std::function<void(MessagePanel::Answer)> answered) {
    return open(MessagePanel::make(
        content, [answered = std::move(answered)](auto answer, const auto&) { answered(answer); }));
}

Panels::Handle GtkPanels::prompt(const std::string& title, const std::string& message,
                                 const std::string& suggestion,
                                 std::function<void(std::optional<std::string>)> answered) {
    MessagePanel::Content content = {MessagePanel::Kind::question, title, message};
    content.suggestion = suggestion;
    return open(MessagePanel::make(
        content, [answered = std::move(answered)](MessagePanel::Answer answer, const std::string& text) {
            answered(answer == MessagePanel::Answer::ok ? std::optional(text) : std::nullopt);
        }));
}

Panels::Handle GtkPanels::print(std::shared_ptr<PrintJob> job, std::function<void()> closed) {
    return open(PrintPanel::make(std::dynamic_pointer_cast<PagePrintJob>(job), std::move(closed)));
}

Panels::Handle GtkPanels::chooseFiles(const FileChoice& choice,
                                      std::function<void(std::vector<std::filesystem::path>)> chosen) {
    return open(FilePanel::make(choice, std::move(chosen)));
}

Panels::Handle GtkPanels::open(const std::shared_ptr<OpenPanel>& panel) {
    panels_.push_back(panel);
    if (mayShow())
        panel->present(WindowStack::front(window_));
    return panel;
}

void GtkPanels::setBehind(bool behind) {
    behind_ = behind;
    follow();
}

void GtkPanels::follow() {
    auto panels = held();
    if (mayShow()) {
        for (const auto& panel : panels)
            panel->present(WindowStack::front(window_));
        return;
    }
    // The last one first: what is over a panel would come to belong to the window beneath it.
    for (auto panel = panels.rbegin(); panel != panels.rend(); ++panel)
        (*panel)->hide();
}

std::vector<std::shared_ptr<OpenPanel>> GtkPanels::held() {
    std::vector<std::shared_ptr<OpenPanel>> result;
    std::erase_if(panels_, [&result](const auto& panel) {
        if (auto kept = panel.lock())
            result.push_back(std::move(kept));
        return panel.expired();
    });
    return result;
}
