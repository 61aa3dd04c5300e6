#pragma once

#include "platform/EventMonitor.h"

#include <gtk/gtk.h>

#include <memory>
#include <vector>

/// Sees the input of every window of the program, those that open later and those of the web engine included,
/// where the display server delivers it, so nothing in a window can keep it from being seen. What an input
/// method types without a key, an on-screen keyboard's text for one, counts too.
///
/// A pointer that rests does not count, though the toolkit tells of it anew whenever something under it
/// moves.
class GtkEventMonitor : public EventMonitor {
public:
    GtkEventMonitor();
    GtkEventMonitor(const GtkEventMonitor&) = delete;
    GtkEventMonitor& operator=(const GtkEventMonitor&) = delete;
    ~GtkEventMonitor() override;

    std::shared_ptr<void> observeInput(std::function<void()> used) override;

private:
    /// Where the pointer was last seen.
    struct Place {
        const GdkSurface* surface = nullptr;
        double x = 0;
        double y = 0;

        bool operator==(const Place&) const = default;
    };

    static gboolean delivered(GSignalInvocationHint* hint, guint count, const GValue* values, gpointer self);
    static gboolean typed(GSignalInvocationHint* hint, guint count, const GValue* values, gpointer self);
    bool isUse(GdkEvent& event);
    void tell() const;

    std::vector<std::weak_ptr<std::function<void()>>> observers_;
    Place pointer_;
    guint eventSignal_, commitSignal_;
    gulong eventHook_, commitHook_;
};
