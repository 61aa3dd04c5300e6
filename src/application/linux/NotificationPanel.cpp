#include "application/linux/NotificationPanel.h"

#include <utility>

void NotificationPanel::setPanels(GtkPanels* panels) {
    panels_ = panels;
    panel_.reset();
    settle(Answer::dismissed);
}

void NotificationPanel::leavePanels(const GtkPanels& panels) {
    if (panels_ == &panels)
        setPanels(nullptr);
}

Task<NotificationQuestion::Answer> NotificationPanel::ask(NotificationPermission present) {
    if (!panels_)
        co_return Answer::dismissed;
    const auto answer = std::make_shared<Completion<Answer>>();
    waiting_ = answer;
    MessagePanel::Content content;
    content.kind = MessagePanel::Kind::question;
    content.title = "“brisko” would like to send you notifications";
    content.text =
        "They remind you of your tasks with a message and a sound, also while brisko is closed, and with a "
        "number on the program’s icon.";
    if (present == NotificationPermission::authorized)
        content.text += "\n\nThey are allowed now.";
    else if (present == NotificationPermission::denied)
        content.text += "\n\nThey are not allowed now.";
    content.okLabel = "Allow";
    content.cancelLabel = "Don’t Allow";
    panel_ = panels_->ask(content, [this](MessagePanel::Answer given) {
        using Given = MessagePanel::Answer;
        panel_.reset();
        settle(given == Given::ok       ? Answer::allow
               : given == Given::cancel ? Answer::dontAllow
                                        : Answer::dismissed);
    });
    co_return co_await *answer;
}

void NotificationPanel::settle(Answer answer) {
    if (const auto waiting = std::exchange(waiting_, nullptr))
        waiting->resolve(answer);
}
