#include "application/linux/Desk.h"

#include "linux/MainLoop.h"
#include "platform/linux/GPtr.h"

#include <X11/XKBlib.h>
#include <X11/extensions/XTest.h>
#include <gdk/x11/gdkx.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <vector>

namespace {

::Display* hands = nullptr; ///< the person's own connection to the display
Glib::RefPtr<Gtk::Application> program;
int handled = 0; ///< keys, clicks and scrolls that have come to the program

gboolean countInput(GSignalInvocationHint*, guint, const GValue* values, gpointer) {
    const auto type = gdk_event_get_event_type(static_cast<GdkEvent*>(g_value_peek_pointer(&values[1])));
    handled += type == GDK_KEY_PRESS || type == GDK_BUTTON_RELEASE || type == GDK_SCROLL ? 1 : 0;
    return TRUE;
}

class Session : public testing::Environment {
public:
    void SetUp() override {
        hands = XOpenDisplay(nullptr);
        if (!hands)
            throw std::runtime_error("there is no display");
        g_set_prgname("brisko");
        g_set_application_name("brisko");
        program = Gtk::Application::create("", Gio::Application::Flags::NON_UNIQUE);
        program->register_application();
        g_type_class_unref(g_type_class_ref(GDK_TYPE_SURFACE));
        g_signal_add_emission_hook(g_signal_lookup("event", GDK_TYPE_SURFACE), 0, countInput, nullptr,
                                   nullptr);
    }
    void TearDown() override {
        program.reset();
        XCloseDisplay(hands);
    }
};

[[maybe_unused]] const auto* const session = testing::AddGlobalTestEnvironment(new Session);

/// What the next key or click meets is what these leave.
void awaitHandling(std::size_t count) {
    XFlush(hands);
    const auto wanted = handled + static_cast<int>(count);
    Desk::until([&] { return handled >= wanted; });
}

void pressKey(KeySym key, std::vector<KeySym> held) {
    const auto code = XKeysymToKeycode(hands, key);
    if (XkbKeycodeToKeysym(hands, code, 0, 0) != key && XkbKeycodeToKeysym(hands, code, 0, 1) == key)
        held.push_back(XK_Shift_L);
    for (const auto modifier : held)
        XTestFakeKeyEvent(hands, XKeysymToKeycode(hands, modifier), True, CurrentTime);
    for (const auto down : {True, False})
        XTestFakeKeyEvent(hands, code, down, CurrentTime);
    for (const auto modifier : held)
        XTestFakeKeyEvent(hands, XKeysymToKeycode(hands, modifier), False, CurrentTime);
    awaitHandling(1 + held.size());
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

/// Calls `visit` with everything in the widget, and with the widget, that eyes and assistive technology find.
void eachShown(GtkWidget* widget, const std::function<void(GtkWidget*)>& visit) {
    if (!gtk_widget_get_mapped(widget) || gtk_widget_get_opacity(widget) == 0 ||
        !GText(gtk_test_accessible_check_state(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_STATE_HIDDEN, TRUE)))
        return;
    visit(widget);
    for (auto* child = gtk_widget_get_first_child(widget); child; child = gtk_widget_get_next_sibling(child))
        eachShown(child, visit);
}

std::vector<GPtr<GtkWindow>> windows() {
    std::vector<GPtr<GtkWindow>> result;
    auto* const all = gtk_window_get_toplevels();
    for (guint i = 0; i < g_list_model_get_n_items(all); ++i)
        result.push_back(GPtr<GtkWindow>::take(GTK_WINDOW(g_list_model_get_item(all, i))));
    return result;
}

void eachShown(const std::function<void(GtkWidget*)>& visit) {
    for (const auto& window : windows())
        eachShown(GTK_WIDGET(window.get()), visit);
}

std::string allThatIsSeen() {
    std::string text;
    eachShown([&](GtkWidget* widget) {
        if (const auto name = nameOf(widget); !name.empty())
            text += "“" + name + (GTK_IS_EDITABLE(widget) ? "” = “" + Desk::textIn(name) : "") + "” ";
    });
    return text + "and the keyboard in “" + Desk::keyboard() + "”";
}

/// As a window manager does when the window with the keyboard has gone.
void giveKeyboardAway() {
    ::Window focus = None;
    int revert = 0;
    XGetInputFocus(hands, &focus, &revert);
    if (focus != None && focus != PointerRoot && focus != DefaultRootWindow(hands))
        return;
    ::Window latest = None;
    for (const auto& window : windows())
        if (gtk_widget_get_mapped(GTK_WIDGET(window.get())))
            latest = gdk_x11_surface_get_xid(gtk_native_get_surface(GTK_NATIVE(window.get())));
    gdk_display_sync(gdk_display_get_default());
    XSetInputFocus(hands, latest, RevertToParent, CurrentTime);
    XFlush(hands);
}

} // namespace

const Glib::RefPtr<Gtk::Application>& Desk::application() {
    return program;
}

void Desk::press(const std::string& keys) {
    std::istringstream words(keys);
    for (std::string word; words >> word;) {
        guint key = 0;
        GdkModifierType modifiers{};
        gtk_accelerator_parse(word.c_str(), &key, &modifiers);
        std::vector<KeySym> held;
        for (const auto& [mask, modifier] : {std::pair(GDK_CONTROL_MASK, XK_Control_L),
                                             {GDK_ALT_MASK, XK_Alt_L},
                                             {GDK_SHIFT_MASK, XK_Shift_L},
                                             {GDK_SUPER_MASK, XK_Super_L}})
            if (modifiers & mask)
                held.push_back(modifier);
        pressKey(key, held);
    }
}

void Desk::type(const std::string& text) {
    for (const auto character : text)
        pressKey(gdk_unicode_to_keyval(static_cast<guint32>(character)), {});
}

void Desk::movePointer(int x, int y) {
    XTestFakeMotionEvent(hands, DefaultScreen(hands), x, y, CurrentTime);
    XFlush(hands);
}

void Desk::click(const std::string& name, unsigned button) {
    see(name);
    auto* const widget = find(name);
    auto* const native = gtk_widget_get_native(widget);
    seeDrawn(widget);
    graphene_rect_t bounds;
    EXPECT_TRUE(gtk_widget_compute_bounds(widget, GTK_WIDGET(native), &bounds));
    double left = 0;
    double top = 0;
    gtk_native_get_surface_transform(native, &left, &top);
    int x = 0;
    int y = 0;
    ::Window child = None;
    XTranslateCoordinates(hands, gdk_x11_surface_get_xid(gtk_native_get_surface(native)),
                          DefaultRootWindow(hands),
                          static_cast<int>(left + bounds.origin.x + bounds.size.width / 2),
                          static_cast<int>(top + bounds.origin.y + bounds.size.height / 2), &x, &y, &child);
    movePointer(x, y);
    for (const auto down : {True, False})
        XTestFakeButtonEvent(hands, button, down, CurrentTime);
    awaitHandling(1);
}

GtkWidget* Desk::find(const std::string& name) {
    GtkWidget* found = nullptr;
    eachShown([&](GtkWidget* widget) {
        if ((!found || GTK_IS_EDITABLE(widget)) && nameOf(widget) == name)
            found = widget;
    });
    return found;
}

std::string Desk::textIn(const std::string& field) {
    auto* const found = find(field);
    return GTK_IS_EDITABLE(found) ? gtk_editable_get_text(GTK_EDITABLE(found)) : "no such field";
}

std::string Desk::keyboard() {
    giveKeyboardAway();
    std::string name;
    eachShown([&](GtkWidget* window) {
        if (!GTK_IS_WINDOW(window) || !gtk_window_is_active(GTK_WINDOW(window)))
            return;
        // What is typed into is a part of the field that has the name.
        auto* widget = gtk_window_get_focus(GTK_WINDOW(window));
        while (widget && nameOf(widget).empty())
            widget = gtk_widget_get_parent(widget);
        name = nameOf(widget ? widget : window);
    });
    return name;
}

void Desk::until(const std::function<bool()>& isReached, const Where& where) {
    MainLoop::runUntil(isReached, allThatIsSeen, where);
}

void Desk::see(const std::string& name, const Where& where) {
    until([&] { return shows(name); }, where);
}

void Desk::seeKeyboardIn(const std::string& name, const Where& where) {
    until([&] { return keyboard() == name; }, where);
}

void Desk::seeDrawn(GtkWidget* widget) {
    bool drawn = false;
    auto* const clock = gtk_widget_get_frame_clock(widget);
    const auto painted = +[](GdkFrameClock*, gpointer flag) { *static_cast<bool*>(flag) = true; };
    const SignalConnection waiting(clock,
                                   g_signal_connect(clock, "after-paint", G_CALLBACK(painted), &drawn));
    gdk_frame_clock_request_phase(clock, GDK_FRAME_CLOCK_PHASE_PAINT);
    Desk::until([&] { return drawn; });
}
