#include "application/linux/ToolkitInspector.h"

#include <gtk/gtk.h>

void ToolkitInspector::forbidEnvironment() {
    g_unsetenv("GTK_DEBUG");
}

void ToolkitInspector::forbidKeys() {
    const auto ignore = [](GtkWindow*, gboolean) -> gboolean { return TRUE; };
    // The signal exists from the first use of the class on.
    g_type_class_unref(g_type_class_ref(GTK_TYPE_WINDOW));
    g_signal_override_class_handler("enable-debugging", GTK_TYPE_WINDOW, G_CALLBACK(+ignore));
}
