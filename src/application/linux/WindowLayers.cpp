#include "application/linux/WindowLayers.h"

#include "application/linux/WindowStack.h"
#include "platform/linux/Wordmark.h"

#include <gtkmm/button.h>
#include <gtkmm/gestureclick.h>

#include <set>
#include <utility>

namespace {

constexpr auto exemption = "brisko-exempt";

void setHidden(GtkWidget* widget, bool hidden) {
    gtk_accessible_update_state(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_STATE_HIDDEN, hidden, -1);
}

std::vector<GtkWidget*> childrenOf(GtkWidget* widget) {
    std::vector<GtkWidget*> children;
    for (auto* child = gtk_widget_get_first_child(widget); child; child = gtk_widget_get_next_sibling(child))
        children.push_back(child);
    return children;
}

void closePopovers(GtkWidget* widget) {
    for (auto* child : childrenOf(widget)) {
        closePopovers(child);
        if (GTK_IS_POPOVER(child) && gtk_widget_get_visible(child))
            gtk_popover_popdown(GTK_POPOVER(child));
    }
}

/// What is selected in the window is on offer to every program, and a click of the middle button shows it.
void withdrawSelection(GtkWidget* widget) {
    auto* const selection = gtk_widget_get_primary_clipboard(widget);
    if (gdk_clipboard_is_local(selection))
        gdk_clipboard_set_content(selection, nullptr);
}

/// A field would select its whole text, which the next key would replace.
void setFocus(GtkWindow* window, GtkWidget* widget) {
    if (GTK_IS_TEXT(widget))
        gtk_text_grab_focus_without_selecting(GTK_TEXT(widget));
    else
        gtk_window_set_focus(window, widget);
}

std::set<GtkWindow*> toplevels() {
    std::set<GtkWindow*> windows;
    for (const auto& window : WindowStack::all())
        windows.insert(window.get());
    return windows;
}

} // namespace

WindowLayers::WindowLayers(Gtk::Window& window) : window_(window) {
    root_.set_vexpand();
    root_.set_child(content_);
    root_.add_overlay(overlay_);
    root_.add_overlay(cover_);
    overlay_.set_visible(false);
    cover_.set_visible(false);
    cover_.add_css_class("native-screen");
    cover_.add_css_class("cover");
    auto* const name = Gtk::make_managed<Wordmark>();
    name->set_hexpand();
    name->set_valign(Gtk::Align::CENTER);
    auto* const why = Gtk::make_managed<Gtk::Label>("Covered until you have shown that it is you.");
    why->add_css_class("why");
    auto* const unlock = Gtk::make_managed<Gtk::Button>("Unlock");
    unlock->set_halign(Gtk::Align::CENTER);
    const auto pressed = [this] {
        if (onCoverPressed)
            onCoverPressed();
    };
    unlock->signal_clicked().connect(pressed);
    const auto click = Gtk::GestureClick::create();
    click->signal_pressed().connect([pressed](int, double, double) { pressed(); });
    cover_.add_controller(click);
    auto* const middle = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL);
    middle->set_valign(Gtk::Align::CENTER);
    middle->append(*name);
    middle->append(*why);
    middle->append(*unlock);
    cover_.append(*middle);

    const auto changed = +[](GListModel*, guint, guint, guint, WindowLayers* self) { self->followWindows(); };
    auto* const list = gtk_window_get_toplevels();
    list_ = SignalConnection(list, g_signal_connect(list, "items-changed", G_CALLBACK(changed), this));
    followWindows();
}

WindowLayers::~WindowLayers() {
    setContent(nullptr);
    removeOverlay();
    uncover();
}

WindowLayers::Layer WindowLayers::top() const {
    if (covered_)
        return Layer::cover;
    return overlayWidget_ ? Layer::overlay : Layer::content;
}

Gtk::Widget& WindowLayers::holderOf(Layer layer) {
    if (layer == Layer::cover)
        return cover_;
    return layer == Layer::overlay ? overlay_ : content_;
}

void WindowLayers::setContent(GtkWidget* content) {
    // The toolkit takes the focus from what leaves the window only with the next frame, when it may be gone.
    if (top() == Layer::content)
        window_.unset_focus();
    focus_.erase(Layer::content);
    if (contentWidget_)
        gtk_box_remove(content_.gobj(), contentWidget_);
    contentWidget_ = content;
    if (!content)
        return;
    gtk_widget_set_hexpand(content, TRUE);
    gtk_box_append(content_.gobj(), content);
    if (top() == Layer::content)
        giveFocus(Layer::content);
}

void WindowLayers::showOverlay(GtkWidget* overlay) {
    removeOverlay();
    withdrawSelection(GTK_WIDGET(window_.gobj()));
    change([&] {
        gtk_widget_set_hexpand(overlay, TRUE);
        gtk_box_append(overlay_.gobj(), overlay);
        overlayWidget_ = overlay;
    });
    if (onOverlayChanged)
        onOverlayChanged();
}

void WindowLayers::removeOverlay() {
    if (!overlayWidget_)
        return;
    auto* const leaving = overlayWidget_;
    change([this] { overlayWidget_ = nullptr; });
    focus_.erase(Layer::overlay);
    gtk_box_remove(overlay_.gobj(), leaving);
}

void WindowLayers::cover() {
    change([this] { covered_ = true; });
}

void WindowLayers::uncover() {
    change([this] { covered_ = false; });
}

/// Changes which layer is on top, and has that one layer shown and no other.
void WindowLayers::change(const std::function<void()>& what) {
    const auto before = top();
    keepFocus(before);
    what();
    adjustAll();
    const auto now = top();
    if (now == before)
        return;
    closePopovers(GTK_WIDGET(window_.gobj()));
    window_.unset_focus();
    for (const auto layer : {Layer::content, Layer::overlay, Layer::cover})
        holderOf(layer).set_visible(layer == now);
    giveFocus(now);
}

void WindowLayers::keepFocus(Layer layer) {
    auto* const focus = gtk_window_get_focus(window_.gobj());
    if (focus && gtk_widget_is_ancestor(focus, holderOf(layer).gobj()))
        focus_[layer] = GPtr<GtkWidget>::share(focus);
}

void WindowLayers::giveFocus(Layer layer) {
    const auto kept = std::exchange(focus_[layer], {});
    auto& holder = holderOf(layer);
    // What has the keyboard in a window may have chosen for itself when it came.
    if (auto* const focus = gtk_window_get_focus(window_.gobj()))
        if (gtk_widget_is_ancestor(focus, holder.gobj()))
            return;
    if (kept && gtk_widget_is_ancestor(kept.get(), holder.gobj()) && gtk_widget_is_sensitive(kept.get()))
        setFocus(window_.gobj(), kept.get());
    else
        // A screen that does not choose for itself, a page for one, has the keyboard as a whole.
        holder.child_focus(Gtk::DirectionType::TAB_FORWARD);
}

void WindowLayers::exempt(Gtk::Window& window) {
    window.set_data(Glib::Quark(exemption), &window);
}

void WindowLayers::followWindows() {
    const auto windows = toplevels();
    std::erase_if(others_, [&](const auto& entry) { return !windows.contains(entry.first); });
    for (auto* const window : windows) {
        if (window == window_.gobj() || others_.contains(window))
            continue;
        auto& other = others_[window];
        const auto shown = +[](GtkWindow* changed, GParamSpec*, WindowLayers* self) {
            self->adjust(changed, self->others_.at(changed));
        };
        other.visible =
            SignalConnection(window, g_signal_connect(window, "notify::visible", G_CALLBACK(shown), this));
        adjust(window, other);
    }
}

void WindowLayers::adjustAll() {
    auto keyboardGoes = false;
    for (auto& [window, other] : others_) {
        const auto active = gtk_widget_get_visible(GTK_WIDGET(window)) && gtk_window_is_active(window);
        adjust(window, other);
        keyboardGoes = keyboardGoes || (active && (other.hidden || overlayWidget_));
    }
    // A window manager that sees several windows go at once may leave nobody with their keyboard.
    if (keyboardGoes && window_.get_mapped())
        window_.present();
    if (overlayWidget_) {
        returning_.stop();
        return;
    }
    // A window that its owner takes away together with the overlay does not come back for a moment.
    returning_.start(std::chrono::milliseconds(0), [this] {
        for (auto& [window, other] : others_)
            if (std::exchange(other.hidden, false))
                gtk_widget_set_visible(GTK_WIDGET(window), TRUE);
        // What was over them comes after them.
        if (onOverlayChanged)
            onOverlayChanged();
    });
}

void WindowLayers::adjust(GtkWindow* window, Other& other) {
    const auto shown = gtk_widget_get_visible(GTK_WIDGET(window)) != FALSE;
    const auto stays = g_object_get_data(G_OBJECT(window), exemption) != nullptr;
    if (!other.blank && covered_ && shown && !stays)
        makeBlank(window, other);
    else if (other.blank && (!covered_ || !shown))
        restore(window, other);
    if (overlayWidget_ && shown && !stays) {
        other.hidden = true;
        gtk_widget_set_visible(GTK_WIDGET(window), FALSE);
    }
}

void WindowLayers::makeBlank(GtkWindow* window, Other& other) {
    other.blank = true;
    other.focus = GPtr<GtkWidget>::share(gtk_window_get_focus(window));
    for (auto* const child : childrenOf(GTK_WIDGET(window))) {
        gtk_widget_set_opacity(child, 0);
        setHidden(child, true);
        other.blanked.push_back(GPtr<GtkWidget>::share(child));
    }
    closePopovers(GTK_WIDGET(window));
    gtk_widget_set_sensitive(GTK_WIDGET(window), FALSE);
}

void WindowLayers::restore(GtkWindow* window, Other& other) {
    other.blank = false;
    for (const auto& child : std::exchange(other.blanked, {})) {
        gtk_widget_set_opacity(child.get(), 1);
        setHidden(child.get(), false);
    }
    gtk_widget_set_sensitive(GTK_WIDGET(window), TRUE);
    const auto focus = std::exchange(other.focus, {});
    if (focus && gtk_widget_is_ancestor(focus.get(), GTK_WIDGET(window)))
        setFocus(window, focus.get());
}

void WindowLayers::whenDrawn(std::function<void()> drawn) {
    auto* const clock = gtk_widget_get_frame_clock(GTK_WIDGET(window_.gobj()));
    if (!window_.get_mapped() || !clock) {
        drawn();
        return;
    }
    drawn_.push_back(std::move(drawn));
    const auto painted = +[](GdkFrameClock*, WindowLayers* self) { self->frameDrawn(); };
    painted_ = SignalConnection(clock, g_signal_connect(clock, "after-paint", G_CALLBACK(painted), this));
    frame_.start(longestFrame, [this] { frameDrawn(); });
    root_.queue_draw();
}

void WindowLayers::frameDrawn() {
    painted_.disconnect();
    frame_.stop();
    // What has been drawn is on its way when this returns.
    gdk_display_flush(gtk_widget_get_display(GTK_WIDGET(window_.gobj())));
    for (const auto& drawn : std::exchange(drawn_, {}))
        drawn();
}
