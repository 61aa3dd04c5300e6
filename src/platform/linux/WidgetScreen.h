#pragma once

#include <gtk/gtk.h>

/// What makes a screen drawable here: every Screen of the Linux desktop is one of these as well.
class WidgetScreen {
public:
    virtual ~WidgetScreen() = default;

    /// The widget that fills the window ("transfer none"); it lives as long as the screen.
    virtual GtkWidget* widget() = 0;
};
