#include "platform/linux/RecentFiles.h"

#include "platform/linux/GPtr.h"

#include <gtk/gtk.h>

void RecentFiles::add(const std::filesystem::path& file) {
    const GText uri(g_filename_to_uri(file.c_str(), nullptr, nullptr));
    if (uri)
        gtk_recent_manager_add_item(gtk_recent_manager_get_default(), uri.get());
}
