#include "web/linux/WebKitPageMenu.h"

#include <map>

namespace {

const std::map<WebKitContextMenuAction, const char*> labels = {
    {WEBKIT_CONTEXT_MENU_ACTION_OPEN_LINK_IN_NEW_WINDOW, "Open Link in _Browser"},
    {WEBKIT_CONTEXT_MENU_ACTION_OPEN_IMAGE_IN_NEW_WINDOW, "Open _Image in Browser"},
    {WEBKIT_CONTEXT_MENU_ACTION_OPEN_FRAME_IN_NEW_WINDOW, "Open _Frame in Browser"},
    {WEBKIT_CONTEXT_MENU_ACTION_OPEN_VIDEO_IN_NEW_WINDOW, "Open _Video in Browser"},
    {WEBKIT_CONTEXT_MENU_ACTION_OPEN_AUDIO_IN_NEW_WINDOW, "Open _Audio in Browser"}};

} // namespace

void WebKitPageMenu::adapt(WebKitContextMenu* menu) {
    for (guint place = 0; place < webkit_context_menu_get_n_items(menu); ++place) {
        auto* const item = webkit_context_menu_get_item_at_position(menu, place);
        const auto label = labels.find(webkit_context_menu_item_get_stock_action(item));
        if (label == labels.end())
            continue;
        auto* const better =
            webkit_context_menu_item_new_from_stock_action_with_label(label->first, label->second);
        webkit_context_menu_remove(menu, item);
        webkit_context_menu_insert(menu, better, static_cast<int>(place));
    }
}
