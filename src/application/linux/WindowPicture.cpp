#include "application/linux/WindowPicture.h"

#include "platform/Error.h"
#include "platform/linux/GPtr.h"

#include <gtk/gtk.h>

namespace {

struct RenderNodeUnref {
    void operator()(GskRenderNode* node) const { gsk_render_node_unref(node); }
};

} // namespace

void saveWindowPicture(Gtk::Window& window, const std::filesystem::path& file) {
    auto* widget = GTK_WIDGET(window.gobj());
    const auto paintable = GPtr<GdkPaintable>::take(gtk_widget_paintable_new(widget));
    auto* snapshot = gtk_snapshot_new();
    gdk_paintable_snapshot(paintable.get(), snapshot, gtk_widget_get_width(widget),
                           gtk_widget_get_height(widget));
    const std::unique_ptr<GskRenderNode, RenderNodeUnref> node(gtk_snapshot_free_to_node(snapshot));
    auto* renderer = gtk_native_get_renderer(GTK_NATIVE(widget));
    if (!node || !renderer)
        throw Error("The window shows nothing yet.");
    const graphene_rect_t area = GRAPHENE_RECT_INIT(0, 0, static_cast<float>(gtk_widget_get_width(widget)),
                                                    static_cast<float>(gtk_widget_get_height(widget)));
    const auto texture = GPtr<GdkTexture>::take(gsk_renderer_render_texture(renderer, node.get(), &area));
    if (!gdk_texture_save_to_png(texture.get(), file.c_str()))
        throw Error("The picture could not be written to " + file.string() + ".");
}
