#include "application/linux/Desk.h"

#include "linux/MainLoop.h"
#include "platform/linux/GPtr.h"

#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <gdk/x11/gdkx.h>

#include <sstream>
#include <vector>

namespace {

/// The person's own connection to the display.
::Display* const hands = XOpenDisplay(nullptr);

/// Once the display has handled what the hands do, the events are on their way.
void deliver() {
    XSync(hands, False);
    gdk_display_sync(gdk_display_get_default());
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
}

std::string nameOf(GtkWidget* widget) {
    if (GTK_IS_WINDOW(widget))
        return gtk_window_get_title(GTK_WINDOW(widget));
    if (GTK_IS_LABEL(widget))
        return gtk_label_get_text(GTK_LABEL(widget));
    if (GTK_IS_BUTTON(widget) && gtk_button_get_label(GTK_BUTTON(widget)))
        return gtk_button_get_label(GTK_BUTTON(widget));
    // The toolkit says what the name is when it is not the one that is asked for.
    const GText name(gtk_test_accessible_check_property(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                                        "asked for"));
    return name.get() == std::string("undefined") ? "" : name.get();
}

/// Calls `visit` with everything in the program's windows that eyes or assistive technology find.
void eachShown(const std::function<void(GtkWidget*)>& visit) {
    auto* const all = gtk_window_get_toplevels();
    for (guint i = 0; i < g_list_model_get_n_items(all); ++i) {
        const auto window = GPtr<GtkWidget>::take(GTK_WIDGET(g_list_model_get_item(all, i)));
        Desk::walk(window.get(), [&](GtkWidget* widget) {
            const GText isTold(
                gtk_test_accessible_check_state(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_STATE_HIDDEN, TRUE));
            if (!gtk_widget_get_mapped(widget) || (gtk_widget_get_opacity(widget) == 0 && !isTold))
                return false;
            visit(widget);
            return true;
        });
    }
}

std::string allThatIsSeen() {
    std::string text;
    eachShown([&](GtkWidget* widget) { text += nameOf(widget).empty() ? "" : "“" + nameOf(widget) + "” "; });
    return text + "and the keyboard in “" + Desk::keyboard() + "”";
}

} // namespace

void Desk::press(const std::string& keys) {
    std::istringstream words(keys);
    for (std::string word; words >> word;) {
        guint key = 0;
        GdkModifierType modifiers{};
        gtk_accelerator_parse(word.c_str(), &key, &modifiers);
        std::vector<KeyCode> codes;
        for (const auto& [mask, modifier] : {std::pair(GDK_CONTROL_MASK, XK_Control_L),
                                             {GDK_ALT_MASK, XK_Alt_L},
                                             {GDK_SHIFT_MASK, XK_Shift_L},
                                             {GDK_SUPER_MASK, XK_Super_L}})
            if (modifiers & mask)
                codes.push_back(XKeysymToKeycode(hands, modifier));
        codes.push_back(XKeysymToKeycode(hands, key));
        for (const auto down : {True, False})
            for (const auto code : codes)
                XTestFakeKeyEvent(hands, code, down, CurrentTime);
        deliver();
    }
}

void Desk::movePointer(int x, int y) {
    XTestFakeMotionEvent(hands, DefaultScreen(hands), x, y, CurrentTime);
    deliver();
}

void Desk::walk(GtkWidget* widget, const std::function<bool(GtkWidget*)>& visit) {
    if (visit(widget))
        for (auto* part = gtk_widget_get_first_child(widget); part; part = gtk_widget_get_next_sibling(part))
            walk(part, visit);
}

GtkWidget* Desk::find(const std::string& name) {
    GtkWidget* found = nullptr;
    eachShown([&](GtkWidget* widget) {
        if ((!found || GTK_IS_EDITABLE(widget) || GTK_IS_SWITCH(widget)) && nameOf(widget) == name)
            found = widget;
    });
    return found;
}

std::string Desk::shown(std::initializer_list<const char*> names) {
    std::string text;
    for (const auto* name : names)
        if (auto* const found = find(name); found && gtk_widget_is_sensitive(found))
            text += (text.empty() ? "" : ", ") + std::string(name);
    return text;
}

std::string Desk::keyboard() {
    GtkNative* latest = nullptr;
    std::string name;
    eachShown([&](GtkWidget* window) {
        if (!GTK_IS_WINDOW(window))
            return;
        latest = GTK_NATIVE(window);
        if (!gtk_window_is_active(GTK_WINDOW(window)))
            return;
        // What is typed into is a part of the field that has the name.
        auto* widget = gtk_window_get_focus(GTK_WINDOW(window));
        while (widget && nameOf(widget).empty())
            widget = gtk_widget_get_parent(widget);
        name = nameOf(widget ? widget : window);
    });
    if (latest && name.empty()) {
        // As a window manager does when the window with the keyboard has gone.
        gdk_display_sync(gdk_display_get_default());
        XSetInputFocus(hands, gdk_x11_surface_get_xid(gtk_native_get_surface(latest)), RevertToParent,
                       CurrentTime);
        XFlush(hands);
    }
    return name;
}

void Desk::until(const std::function<bool()>& isReached, const Where& where) {
    MainLoop::runUntil(isReached, allThatIsSeen, where);
}

void Desk::seeKeyboardIn(const std::string& name, const Where& where) {
    until([&] { return keyboard() == name; }, where);
}
