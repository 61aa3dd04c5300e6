#pragma once

#include "application/linux/OpenPanel.h"

#include <gtkmm/box.h>
#include <gtkmm/entry.h>
#include <gtkmm/scrolledwindow.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

/// A message with "OK" or a question with "OK" and "Cancel" in a small window: the title in bold, below it
/// the text as it stands, which scrolls when it is long and ends in "…" when nobody could read it all. Return
/// presses the button with the keyboard, "OK" at first; Escape is "Cancel" or, for a message, closes it; the
/// page keys scroll. A question for a text has a field, which has the keyboard and for which Return is "OK".
class MessagePanel final : public OpenPanel, public std::enable_shared_from_this<MessagePanel> {
public:
    enum class Kind { message, question };

    struct Content {
        Kind kind = Kind::message;
        std::string title; ///< of the window too
        std::string text;
        std::string okLabel = "OK";
        std::string cancelLabel = "Cancel";
        /// What is in the field at first; without it there is no field.
        std::optional<std::string> suggestion = {};
    };
    /// How it was closed: with one of its buttons or without them.
    enum class Answer { ok, cancel, givenUp };
    /// With what is in the field.
    using Answered = std::function<void(Answer, const std::string& text)>;

    /// `answered` is called once at most, when the panel is off the screen. It may let go of the panel.
    static std::shared_ptr<MessagePanel> make(const Content& content, Answered answered);
    ~MessagePanel() override;

    void present(Gtk::Window& parent) override;
    void hide() override;
    void close() override;

private:
    explicit MessagePanel(Answered answered);

    void build(const Content& content);
    void addField(Gtk::Box& column, const Content& content);
    void addButton(Gtk::Box& row, const std::string& label, Answer answer);
    void addKeys(Gtk::ScrolledWindow& text);
    void answer(Answer answer);
    /// A handler that does nothing once the panel is gone.
    std::function<void()> answering(Answer answer);

    Answered answered_;
    std::unique_ptr<Gtk::Window> window_; ///< none once it has been answered or closed
    Gtk::Entry* field_ = nullptr;         ///< in the window
};
