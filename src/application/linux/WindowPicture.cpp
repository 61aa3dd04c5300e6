#include "application/linux/WindowPicture.h"

#include "platform/Error.h"
#include "platform/linux/GPtr.h"

#include <gtk/gtk.h>

namespace {

struct RenderNodeUnref {
    void operator()(GskRenderNode* node) const { gsk_render_node_unref(node); }
};

/// What the widget draws, in its own coordinates, which begin inside its border and padding.
graphene_rect_t boundsOf(GtkWidget* widget) {
    graphene_rect_t bounds;
    if (!gtk_widget_compute_bounds(widget, widget, &bounds))
        throw Error("The window shows nothing yet.");
    return bounds;
}

/// The place of the widget's corner in its surface, which is larger by shadows.
graphene_point_t cornerIn(GtkNative* native) {
    double x = 0;
    double y = 0;
    gtk_native_get_surface_transform(native, &x, &y);
    const auto origin = boundsOf(GTK_WIDGET(native)).origin;
    return GRAPHENE_POINT_INIT(static_cast<float>(x) + origin.x, static_cast<float>(y) + origin.y);
}

void draw(GtkWidget* widget, GtkSnapshot* snapshot) {
    const auto paintable = GPtr<GdkPaintable>::take(gtk_widget_paintable_new(widget));
    const auto size = boundsOf(widget).size;
    gdk_paintable_snapshot(paintable.get(), snapshot, size.width, size.height);
}

/// Menus and other popovers are surfaces of their own, each at a place in that of what it belongs to.
void drawPopovers(GtkWidget* widget, GtkNative* parent, GtkSnapshot* snapshot) {
    for (auto* child = gtk_widget_get_first_child(widget); child;
         child = gtk_widget_get_next_sibling(child)) {
        if (!gtk_widget_get_mapped(child))
            continue;
        if (!GTK_IS_POPOVER(child)) {
            drawPopovers(child, parent, snapshot);
            continue;
        }
        auto* const popup = GDK_POPUP(gtk_native_get_surface(GTK_NATIVE(child)));
        const auto own = cornerIn(GTK_NATIVE(child));
        const auto parents = cornerIn(parent);
        const auto place =
            GRAPHENE_POINT_INIT(static_cast<float>(gdk_popup_get_position_x(popup)) + own.x - parents.x,
                                static_cast<float>(gdk_popup_get_position_y(popup)) + own.y - parents.y);
        gtk_snapshot_save(snapshot);
        gtk_snapshot_translate(snapshot, &place);
        draw(child, snapshot);
        drawPopovers(child, GTK_NATIVE(child), snapshot);
        gtk_snapshot_restore(snapshot);
    }
}

} // namespace

bool saveWindowPicture(Gtk::Window& window, const std::filesystem::path& file) {
    auto* widget = GTK_WIDGET(window.gobj());
    auto* snapshot = gtk_snapshot_new();
    // A picture has the pixels of the screen.
    const auto scale = static_cast<float>(gtk_widget_get_scale_factor(widget));
    gtk_snapshot_scale(snapshot, scale, scale);
    draw(widget, snapshot);
    drawPopovers(widget, GTK_NATIVE(widget), snapshot);
    const std::unique_ptr<GskRenderNode, RenderNodeUnref> node(gtk_snapshot_free_to_node(snapshot));
    auto* renderer = gtk_native_get_renderer(GTK_NATIVE(widget));
    if (!node || !renderer)
        return false;
    const auto size = boundsOf(widget).size;
    const graphene_rect_t area = GRAPHENE_RECT_INIT(0, 0, scale * size.width, scale * size.height);
    const auto texture = GPtr<GdkTexture>::take(gsk_renderer_render_texture(renderer, node.get(), &area));
    if (!gdk_texture_save_to_png(texture.get(), file.c_str()))
        throw Error("The picture could not be written to " + file.string() + ".");
    return true;
}
