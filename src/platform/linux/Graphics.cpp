#include "platform/linux/Graphics.h"

#include <gtk/gtk.h>

#include <filesystem>

bool Graphics::isAccelerated() {
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/dri", failure))
        if (entry.path().filename().string().starts_with("renderD"))
            return true;
    return false;
}

void Graphics::chooseRenderer() {
    if (isAccelerated())
        return;
    g_setenv("GSK_RENDERER", "cairo", FALSE);
    // The toolkit would load OpenGL's whole emulation just to ask what it could do.
    g_setenv("GDK_DEBUG", "gl-disable", FALSE);
    // The web engine would look for it too, and warn that there is none.
    g_setenv("WEBKIT_DISABLE_COMPOSITING_MODE", "1", FALSE);
}

void Graphics::preferDarkTheme() {
    // A property's default is what the settings take on when the toolkit makes them, and nothing can come
    // sooner.
    auto* settings = static_cast<GObjectClass*>(g_type_class_ref(GTK_TYPE_SETTINGS));
    auto* preference = g_object_class_find_property(settings, "gtk-application-prefer-dark-theme");
    G_PARAM_SPEC_BOOLEAN(preference)->default_value = TRUE;
    g_type_class_unref(settings);
}
