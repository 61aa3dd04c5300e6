#include "lock/linux/PasscodeScreen.h"

#include "platform/linux/FieldBox.h"
#include "platform/linux/NativeScreen.h"
#include "platform/linux/Wordmark.h"

#include <glibmm/main.h>
#include <gtkmm/eventcontrollerkey.h>
#include <gtkmm/gestureclick.h>
#include <gtkmm/root.h>
#include <gtkmm/window.h>

#include <utility>

namespace {

constexpr int codeWidth = 200;
constexpr int codeHeight = 24;
constexpr int lengthButtonsWidth = 260;

/// A menu that opens takes the desktop's keyboard from its window and gives it back at once, but keeps the
/// focus.
bool isInMenu(Gtk::Widget* focus) {
    return focus && focus->get_ancestor(GTK_TYPE_POPOVER);
}

void centre(WrappingLabel& label, const char* name) {
    label.add_css_class(name);
    label.set_justify(Gtk::Justification::CENTER);
}

} // namespace

PasscodeScreen::PasscodeScreen(std::shared_ptr<PasscodeView> view) : view_(std::move(view)) {
    layOutNativeScreen(root_, column_, columnWidth, "passcode-screen");

    buildHeading();
    buildFields();
    buildLengths();
    centre(message_, "message");
    message_.property_accessible_role() = Gtk::Accessible::Role::ALERT;
    column_.append(message_);
    buildFooter();
    watchWindow();
    view_->changed = [this] { render(); };
    render();
}

PasscodeScreen::~PasscodeScreen() {
    view_->changed = nullptr;
    tick_.disconnect();
    activation_.disconnect();
}

void PasscodeScreen::buildHeading() {
    column_.append(*Gtk::make_managed<Wordmark>());
    centre(title_, "title");
    column_.append(title_);
}

void PasscodeScreen::buildFields() {
    password_ = std::make_unique<FieldBox>(FieldBox::Kind::secret);
    password_->setPlaceholder("Password");
    password_->onTyped = [this](std::string_view text) {
        if (!rendering_)
            view_->typePassword(SecretText(text));
    };
    password_->onReturn = [this] { spawn(view_->checkPassword()); };
    password_->onFocus = [this](bool focused) { view_->focus(focused); };
    column_.append(*password_);

    code_ = std::make_unique<FieldBox>(FieldBox::Kind::secret);
    code_->add_css_class("code-field");
    code_->setPurpose(Gtk::InputPurpose::PIN);
    code_->setAccessibleName("Passcode");
    code_->set_size_request(codeWidth, codeHeight);
    code_->set_halign(Gtk::Align::CENTER);
    code_->set_can_target(false);
    code_->onTyped = [this](std::string_view text) {
        if (!rendering_)
            view_->edit(SecretText(text));
    };
    code_->onFocus = [this](bool focused) { view_->focus(focused); };

    dotRow_.add_css_class("dot-row");
    dots_.set_halign(Gtk::Align::CENTER);
    dotRow_.set_child(dots_);
    dotRow_.add_overlay(*code_);
    const auto click = Gtk::GestureClick::create();
    click->signal_pressed().connect([this](int, double, double) { view_->clickDots(); });
    dotRow_.add_controller(click);
    column_.append(dotRow_);
}

void PasscodeScreen::buildLengths() {
    lengths_.add_css_class("lengths");
    lengths_.set_homogeneous();
    lengths_.set_halign(Gtk::Align::CENTER);
    lengths_.set_size_request(lengthButtonsWidth, -1);
    for (std::size_t i = 0; i < lengthButtons_.size(); ++i) {
        const auto length = PasscodeView::lengths[i];
        makeChoice(lengthButtons_[i]);
        lengthButtons_[i].set_label(view_->lengthLabel(length));
        lengthButtons_[i].signal_clicked().connect([this, length] { view_->chooseLength(length); });
        lengths_.append(lengthButtons_[i]);
    }
    column_.append(lengths_);
}

void PasscodeScreen::buildFooter() {
    footer_.add_css_class("footer");
    footer_.set_halign(Gtk::Align::FILL);
    spinner_.set_halign(Gtk::Align::CENTER);
    footer_.append(spinner_);
    for (const auto& button : view_->buttons()) {
        auto& widget = *buttons_.emplace_back(Gtk::make_managed<Gtk::Button>(button.label));
        widget.set_halign(Gtk::Align::CENTER);
        widget.signal_clicked().connect(button.press);
        footer_.append(widget);
    }
    centre(note_, "note");
    note_.set_text(view_->note().value_or(""));
    note_.set_visible(view_->note().has_value());
    footer_.append(note_);
    column_.append(footer_);

    const auto keys = Gtk::EventControllerKey::create();
    keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
    keys->signal_key_pressed().connect(
        [this](guint key, guint, Gdk::ModifierType) { return key == GDK_KEY_Escape && view_->cancel(); },
        false);
    root_.add_controller(keys);
}

void PasscodeScreen::watchWindow() {
    root_.signal_map().connect([this] {
        // A window that is closed and opened again shows the screen as it was left.
        if (std::exchange(appeared_, true))
            view_->windowBecameKey();
        else
            view_->appeared();
        tick_ = Glib::signal_timeout().connect_seconds(
            [this] {
                view_->tick();
                return true;
            },
            1);
        if (auto* window = dynamic_cast<Gtk::Window*>(root_.get_root()))
            activation_ = window->property_is_active().signal_changed().connect([this, window] {
                if (window->is_active() && !isInMenu(window->get_focus()))
                    view_->windowBecameKey();
            });
    });
    root_.signal_unmap().connect([this] {
        tick_.disconnect();
        activation_.disconnect();
    });
}

void PasscodeScreen::render() {
    if (rendering_)
        return;
    rendering_ = true;
    const auto& state = view_->state();
    title_.set_text(view_->title());
    const auto asksPassword = state.step == PasscodeView::Step::password;
    password_->set_visible(asksPassword);
    password_->setText(asksPassword ? state.password.view() : std::string_view());
    dotRow_.set_visible(!asksPassword);
    renderDots();
    renderLengths();
    const auto message = view_->message();
    message_.set_visible(message.has_value());
    message_.set_text(message.value_or(""));
    // Heard with the field's name, and when it changes.
    for (auto* const field : {password_.get(), code_.get()})
        field->setAccessibleDescription(view_->title() + (message ? " " + *message : std::string()));
    renderFooter();
    rendering_ = false;
    moveFocus();
}

void PasscodeScreen::renderDots() {
    const auto& state = view_->state();
    code_->setText(state.code.view());
    // The toolkit does not tell a field that is switched off that it no longer has the keyboard.
    if (state.lockedUntil && code_->hasFocus())
        gtk_root_set_focus(gtk_widget_get_root(GTK_WIDGET(code_->gobj())), nullptr);
    code_->set_sensitive(!state.lockedUntil);
    setClass(dotRow_, "locked-out", state.lockedUntil.has_value());
    dots_.show(static_cast<std::size_t>(view_->expected()), view_->typed());
    dots_.setWrong(state.wrong);
}

void PasscodeScreen::renderLengths() {
    const auto& state = view_->state();
    lengths_.set_visible(state.step == PasscodeView::Step::choose);
    for (std::size_t i = 0; i < lengthButtons_.size(); ++i)
        setChosen(lengthButtons_[i], PasscodeView::lengths[i] == state.digits);
}

void PasscodeScreen::renderFooter() {
    spinner_.set_visible(view_->state().busy);
    spinner_.set_spinning(view_->state().busy);
    const auto buttons = view_->buttons();
    for (std::size_t i = 0; i < buttons_.size(); ++i)
        buttons_[i]->set_visible(buttons[i].shown);
}

void PasscodeScreen::moveFocus() {
    const auto& state = view_->state();
    if (!state.focused || !root_.get_mapped())
        return;
    auto& field = state.step == PasscodeView::Step::password ? *password_ : *code_;
    // A field that is switched off could be given the keyboard all the same.
    if (!field.hasFocus() && field.get_sensitive())
        field.takeFocus();
}
