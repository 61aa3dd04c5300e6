#include "account/linux/AuthScreen.h"

#include "platform/ImageSize.h"
#include "platform/linux/FieldBox.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/NativeScreen.h"
#include "platform/linux/Wordmark.h"

#include <gtkmm/eventcontrollerkey.h>
#include <gtkmm/root.h>
#include <gtkmm/window.h>

#include <algorithm>
#include <utility>

namespace {

constexpr float captchaHeight = 38;
/// A picture wider than this would leave no room to type its characters.
constexpr float captchaMaximumWidth = 170;

void setAccessibleName(Gtk::Widget& widget, const std::string& name) {
    gtk_accessible_update_property(GTK_ACCESSIBLE(widget.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL, name.c_str(),
                                   -1);
}

/// A few characters in a picture never need more.
constexpr std::size_t captchaMaximumBytes = 1 << 20;
constexpr ImageSize captchaMaximumSize = {2000, 1000};

/// The picture that the bytes hold, at the height of the captcha row; none when they are not an image of a
/// sensible size. It keeps all its pixels for displays of a higher scale.
GPtr<GdkPaintable> decodeImage(const std::string& bytes) {
    const auto pixels = ImageSize::of(bytes);
    if (bytes.size() > captchaMaximumBytes || !pixels || pixels->width > captchaMaximumSize.width ||
        pixels->height > captchaMaximumSize.height)
        return {};
    const GBytesPtr content(g_bytes_new(bytes.data(), bytes.size()));
    GError* error = nullptr;
    const auto texture = GPtr<GdkTexture>::take(gdk_texture_new_from_bytes(content.get(), &error));
    if (!texture) {
        g_clear_error(&error);
        return {};
    }
    const auto ratio = static_cast<float>(gdk_texture_get_width(texture.get())) /
                       static_cast<float>(gdk_texture_get_height(texture.get()));
    const auto width = std::clamp(captchaHeight * ratio, 1.0F, captchaMaximumWidth);
    const auto height = width / ratio;
    const graphene_size_t size = GRAPHENE_SIZE_INIT(width, captchaHeight);
    const graphene_rect_t area = GRAPHENE_RECT_INIT(0, (captchaHeight - height) / 2, width, height);
    auto* snapshot = gtk_snapshot_new();
    gtk_snapshot_append_texture(snapshot, texture.get(), &area);
    return GPtr<GdkPaintable>::take(gtk_snapshot_free_to_paintable(snapshot, &size));
}

} // namespace

AuthScreen::AuthScreen(std::shared_ptr<AuthView> view) : view_(std::move(view)) {
    layOutNativeScreen(root_, column_, columnWidth, "auth-screen");

    buildHeading();
    buildPills();
    buildFields();
    buildCaptchaRow();
    buildMessages();
    buildButtons();
    buildFooter();
    watchKeys();

    view_->changed = [this] { render(); };
    root_.signal_map().connect([this] {
        if (auto* window = dynamic_cast<Gtk::Window*>(root_.get_root()))
            window->set_default_widget(submit_);
        // A window that is closed and opened again shows the screen as it was left.
        if (!std::exchange(appeared_, true))
            view_->appeared();
        moveFocus();
    });
    root_.signal_unmap().connect([this] {
        if (auto* window = dynamic_cast<Gtk::Window*>(root_.get_root()))
            gtk_window_set_default_widget(window->gobj(), nullptr);
    });
    render();
}

AuthScreen::~AuthScreen() {
    view_->changed = nullptr;
}

void AuthScreen::buildHeading() {
    column_.append(*Gtk::make_managed<Wordmark>());
    subtitle_.add_css_class("subtitle");
    column_.append(subtitle_);
}

void AuthScreen::buildPills() {
    pills_.add_css_class("pills");
    pills_.set_homogeneous();
    const auto add = [this](std::size_t index, const char* label, AuthView::Mode mode) {
        auto& pill = pillButtons_[index];
        pill.set_label(label);
        pill.signal_clicked().connect([this, mode] { view_->switchTo(mode); });
        pills_.append(pill);
    };
    add(0, "Sign in", AuthView::Mode::signIn);
    add(1, "Sign up", AuthView::Mode::signUp);
    column_.append(pills_);
}

void AuthScreen::buildFields() {
    identifier_ = std::make_unique<FieldBox>(FieldBox::Kind::plain);
    email_ = std::make_unique<FieldBox>(FieldBox::Kind::plain);
    password_ = std::make_unique<FieldBox>(FieldBox::Kind::secret);
    captchaAnswer_ = std::make_unique<FieldBox>(FieldBox::Kind::plain);
    email_->setPurpose(Gtk::InputPurpose::EMAIL);
    bind(*identifier_, AuthView::Field::identifier);
    bind(*email_, AuthView::Field::email);
    bind(*password_, AuthView::Field::password);
    bind(*captchaAnswer_, AuthView::Field::captcha);

    reveal_.add_css_class("reveal");
    reveal_.signal_clicked().connect([this] { view_->toggleReveal(); });
    password_->add_css_class("with-control");
    password_->addTrailing(reveal_);

    fieldColumn_.append(*identifier_);
    fieldColumn_.append(*email_);
    fieldColumn_.append(*password_);
    fieldColumn_.append(captchaRow_);
    column_.append(fieldColumn_);
}

void AuthScreen::buildCaptchaRow() {
    captchaImage_.add_css_class("captcha");
    captchaImage_.set_overflow(Gtk::Overflow::HIDDEN);
    captchaImage_.set_can_shrink(false);
    setAccessibleName(captchaImage_, "Verification image");
    reloadCaptcha_.set_icon_name("view-refresh-symbolic");
    reloadCaptcha_.add_css_class("reload");
    reloadCaptcha_.set_tooltip_text("Get a different image");
    setAccessibleName(reloadCaptcha_, "Get a different image");
    reloadCaptcha_.signal_clicked().connect([this] { spawn(view_->loadCaptcha()); });
    captchaAnswer_->set_hexpand();
    captchaRow_.append(captchaImage_);
    captchaRow_.append(reloadCaptcha_);
    captchaRow_.append(*captchaAnswer_);
}

void AuthScreen::buildMessages() {
    const auto add = [this](Gtk::Label& label, const char* kind) {
        label.add_css_class("message");
        label.add_css_class(kind);
        label.set_xalign(0);
        column_.append(label);
    };
    add(error_, "error");
    add(notice_, "notice");
}

void AuthScreen::buildButtons() {
    submit_.add_css_class("submit");
    auto* content = Gtk::make_managed<Gtk::Box>();
    content->set_halign(Gtk::Align::CENTER);
    content->append(submitLabel_);
    content->append(submitSpinner_);
    submit_.set_child(*content);
    submit_.signal_clicked().connect([this] { spawn(view_->go()); });
    column_.append(submit_);

    google_.add_css_class("google");
    auto* label = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, 8);
    label->set_halign(Gtk::Align::CENTER);
    auto* letter = Gtk::make_managed<Gtk::Label>("G");
    letter->add_css_class("g");
    label->append(*letter);
    label->append(*Gtk::make_managed<Gtk::Label>("Continue with Google"));
    google_.set_child(*label);
    setAccessibleName(google_, "Continue with Google");
    google_.signal_clicked().connect([this] { spawn(view_->googleSignIn()); });
    column_.append(google_);
}

void AuthScreen::buildFooter() {
    auto* row = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, 12);
    row->add_css_class("footer");
    row->set_halign(Gtk::Align::CENTER);
    footer_.signal_clicked().connect([this] { view_->pressFooter(); });
    row->append(footer_);
    // The role can only be given when the widget is made.
    auto* link = Gtk::manage(Glib::wrap(GTK_BUTTON(g_object_new(
        GTK_TYPE_BUTTON, "label", "Privacy", "accessible-role", GTK_ACCESSIBLE_ROLE_LINK, nullptr))));
    link->set_cursor("pointer");
    link->signal_clicked().connect([this] { view_->openPrivacy(); });
    row->append(*link);
    column_.append(*row);
}

void AuthScreen::watchKeys() {
    const auto keys = Gtk::EventControllerKey::create();
    keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
    keys->signal_key_pressed().connect(
        [this](guint key, guint, Gdk::ModifierType modifiers) {
            if (key != GDK_KEY_Tab && key != GDK_KEY_ISO_Left_Tab)
                return false;
            const auto held = modifiers & (Gdk::ModifierType::CONTROL_MASK | Gdk::ModifierType::ALT_MASK |
                                           Gdk::ModifierType::SUPER_MASK);
            const bool back = key == GDK_KEY_ISO_Left_Tab ||
                              (modifiers & Gdk::ModifierType::SHIFT_MASK) != Gdk::ModifierType();
            // The way out of the fields' circle; the toolkit's own would leave the whole screen.
            if (held == Gdk::ModifierType::CONTROL_MASK)
                return gtk_widget_child_focus(GTK_WIDGET(gtk_widget_get_root(GTK_WIDGET(root_.gobj()))),
                                              back ? GTK_DIR_TAB_BACKWARD : GTK_DIR_TAB_FORWARD) != FALSE;
            return held == Gdk::ModifierType() && view_->move(back ? -1 : +1);
        },
        false);
    column_.add_controller(keys);
}

void AuthScreen::bind(FieldBox& field, AuthView::Field name) {
    field.onTyped = [this, name](std::string_view text) {
        if (!rendering_)
            view_->type(name, std::string(text));
    };
    field.onReturn = [this] { spawn(view_->go()); };
    field.onFocus = [this, name](bool focused) {
        if (focused)
            view_->focus(name);
        else if (view_->state().focused == name)
            view_->focus(std::nullopt);
    };
}

void AuthScreen::render() {
    if (rendering_)
        return;
    rendering_ = true;
    const auto& state = view_->state();
    subtitle_.set_text(view_->subtitle());
    pills_.set_visible(state.mode != AuthView::Mode::forgot);
    const auto setCurrent = [](Gtk::Button& pill, bool current) {
        if (current)
            pill.add_css_class("current");
        else
            pill.remove_css_class("current");
        gtk_accessible_update_state(GTK_ACCESSIBLE(pill.gobj()), GTK_ACCESSIBLE_STATE_PRESSED,
                                    current ? GTK_ACCESSIBLE_TRISTATE_TRUE : GTK_ACCESSIBLE_TRISTATE_FALSE,
                                    -1);
    };
    setCurrent(pillButtons_[0], state.mode == AuthView::Mode::signIn);
    setCurrent(pillButtons_[1], state.mode == AuthView::Mode::signUp);
    renderFields();
    renderCaptcha();
    renderMessage(error_, state.error);
    renderMessage(notice_, state.notice);

    submitLabel_.set_text(view_->submitLabel());
    setAccessibleName(submit_, view_->submitLabel());
    submitLabel_.set_visible(!state.busy);
    submitSpinner_.set_visible(state.busy);
    submitSpinner_.set_spinning(state.busy);
    submit_.set_sensitive(view_->canSubmit());
    if (view_->ready())
        submit_.remove_css_class("waiting-for-input");
    else
        submit_.add_css_class("waiting-for-input");
    google_.set_visible(state.mode == AuthView::Mode::signIn);
    google_.set_sensitive(!state.busy);
    footer_.set_label(view_->footerLabel());
    rendering_ = false;
    moveFocus();
}

void AuthScreen::renderFields() {
    using Field = AuthView::Field;
    const auto& state = view_->state();
    const auto order = AuthView::focusOrder(state.mode);
    const auto shown = [&order](Field field) {
        return std::find(order.begin(), order.end(), field) != order.end();
    };
    identifier_->set_visible(shown(Field::identifier));
    email_->set_visible(shown(Field::email));
    password_->set_visible(shown(Field::password));
    captchaRow_.set_visible(shown(Field::captcha));
    const auto fill = [this](FieldBox& field, Field name) {
        field.setPlaceholder(view_->placeholder(name));
        field.setText(view_->text(name));
    };
    fill(*identifier_, Field::identifier);
    fill(*email_, Field::email);
    fill(*password_, Field::password);
    fill(*captchaAnswer_, Field::captcha);

    password_->setRevealed(state.revealPassword);
    reveal_.set_icon_name(state.revealPassword ? "view-conceal-symbolic" : "view-reveal-symbolic");
    reveal_.set_tooltip_text(view_->revealLabel());
    setAccessibleName(reveal_, view_->revealLabel());
    if (state.revealPassword)
        reveal_.add_css_class("revealed");
    else
        reveal_.remove_css_class("revealed");
}

void AuthScreen::renderCaptcha() {
    const auto& captcha = view_->state().captcha;
    const auto image = captcha ? captcha->image : std::string();
    if (image == shownImage_)
        return;
    shownImage_ = image;
    const auto picture = decodeImage(image);
    gtk_picture_set_paintable(captchaImage_.gobj(), picture.get());
    if (picture)
        captchaImage_.remove_css_class("missing");
    else
        captchaImage_.add_css_class("missing");
}

void AuthScreen::renderMessage(Gtk::Label& label, const std::optional<std::string>& message) {
    label.set_visible(message.has_value());
    label.set_text(message.value_or(""));
}

void AuthScreen::moveFocus() {
    const auto focused = view_->state().focused;
    if (!focused || !root_.get_mapped())
        return;
    const std::array<std::pair<AuthView::Field, FieldBox*>, 4> fields = {
        {{AuthView::Field::identifier, identifier_.get()},
         {AuthView::Field::password, password_.get()},
         {AuthView::Field::email, email_.get()},
         {AuthView::Field::captcha, captchaAnswer_.get()}}};
    for (const auto& [name, field] : fields)
        if (name == *focused && !field->hasFocus())
            field->takeFocus();
}
