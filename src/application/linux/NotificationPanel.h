#pragma once

#include "application/linux/GtkPanels.h"
#include "platform/NotificationQuestion.h"

/// Asks over the main window whether the program may show notifications. The desktop has no question of its
/// own for that.
class NotificationPanel : public NotificationQuestion {
public:
    /// Where it asks: null while there is no window. They have to outlive their time here.
    void setPanels(GtkPanels* panels);
    /// No longer over these; others may have taken their place already.
    void leavePanels(const GtkPanels& panels);

    /// A panel that is closed without its buttons is one that was dismissed, so that a key that was meant for
    /// something else settles nothing.
    Task<Answer> ask(NotificationPermission present) override;

private:
    void settle(Answer answer);

    GtkPanels* panels_ = nullptr;
    Panels::Handle panel_;
    std::shared_ptr<Completion<Answer>> waiting_;
};
