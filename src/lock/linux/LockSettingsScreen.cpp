#include "lock/linux/LockSettingsScreen.h"

#include "application/linux/Accelerator.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/LocaleInteger.h"
#include "platform/linux/NativeScreen.h"

#include <gtkmm/gestureclick.h>
#include <gtkmm/root.h>
#include <gtkmm/window.h>

#include <algorithm>
#include <utility>

namespace {

constexpr GapColumn::Gap underTitle = {4, 2};
constexpr GapColumn::Gap underExplanation = {22, 8};
constexpr GapColumn::Gap inSection = {10, 4};
constexpr GapColumn::Gap aroundDivider = {16, 6};
constexpr GapColumn::Gap aboveEnd = {22, 6};

constexpr int lengthsWidth = 240;
constexpr int minutesWidth = 56;
constexpr int recordWidth = 130;
constexpr int recordHeight = 30;

constexpr std::pair<GdkModifierType, KeyModifiers> modifierKeys[] = {
    {GDK_CONTROL_MASK, KeyModifier::command},
    {GDK_ALT_MASK, KeyModifier::option},
    {GDK_SHIFT_MASK, KeyModifier::shift},
    {GDK_SUPER_MASK, KeyModifier::control},
};

void setLabel(Gtk::Button& button, const std::string& label) {
    if (button.get_label().raw() != label)
        button.set_label(label);
}

Gtk::Label& styled(Gtk::Label& label, const char* style, const std::string& text = {}) {
    label.add_css_class(style);
    label.set_xalign(0);
    label.set_text(text);
    return label;
}

Gtk::Label& makeLabel(const char* style, const std::string& text) {
    return styled(*Gtk::make_managed<Gtk::Label>(), style, text);
}

void setHint(Gtk::Label& label, const std::optional<std::string>& text) {
    label.set_visible(text.has_value());
    label.set_text(text.value_or(""));
}

void setAccessibleName(Gtk::Widget& widget, const std::string& name) {
    gtk_accessible_update_property(GTK_ACCESSIBLE(widget.gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL, name.c_str(),
                                   -1);
}

std::string characterOf(guint key) {
    const auto character = gdk_keyval_to_unicode(key);
    constexpr auto longest = 6;
    char text[longest + 1] = {};
    if (character != 0)
        g_unichar_to_utf8(character, text);
    return text;
}

bool isLetterOrDigit(guint key) {
    return g_unichar_isalnum(gdk_keyval_to_unicode(key)) != FALSE;
}

/// What the key that is being pressed types without modifiers. Where that is no letter or digit, as with the
/// digits of a French keyboard or of a number pad, it is what the key types now.
std::string textOf(GtkEventController* keys, guint key, guint code) {
    auto* const event = gtk_event_controller_get_current_event(keys);
    const auto layout = static_cast<int>(gdk_key_event_get_layout(event));
    guint bare = 0;
    const auto known = gdk_display_translate_key(gdk_event_get_display(event), code, GdkModifierType{},
                                                 layout, &bare, nullptr, nullptr, nullptr);
    return characterOf(known && isLetterOrDigit(bare) ? bare : key);
}

bool isReturn(guint key) {
    return key == GDK_KEY_Return || key == GDK_KEY_KP_Enter || key == GDK_KEY_ISO_Enter;
}

} // namespace

LockSettingsScreen::LockSettingsScreen(std::shared_ptr<LockSettingsView> view) : view_(std::move(view)) {
    root_.add_css_class("native-screen");
    root_.add_css_class("lock-settings-screen");
    root_.set_policy(Gtk::PolicyType::NEVER, Gtk::PolicyType::AUTOMATIC);
    root_.set_size_request(width, height);
    column_.set_margin_start(padding);
    column_.set_margin_end(padding);
    root_.set_child(column_);

    column_.append(makeLabel("title", view_->title()), {padding, 8});
    column_.append(styled(*Gtk::make_managed<WrappingLabel>(columnWidth), "text", view_->explanation()),
                   underTitle);
    buildPasscode();
    addDivider();
    buildAutoLock();
    addDivider();
    buildShortcut();
    buildEnd();
    watchKeys();
    watchWindow();
    view_->changed = [this] { render(); };
    render();
}

LockSettingsScreen::~LockSettingsScreen() {
    view_->changed = nullptr;
    if (recorder_)
        recorded_->remove_controller(recorder_);
}

void LockSettingsScreen::addDivider() {
    auto& divider = *Gtk::make_managed<Gtk::Box>();
    divider.add_css_class("divider");
    column_.append(divider, aroundDivider);
}

void LockSettingsScreen::buildPasscode() {
    column_.append(makeLabel("heading", view_->passcodeTitle()), underExplanation);
    column_.append(styled(status_, "text"), inSection);

    lengths_.add_css_class("lengths");
    lengths_.set_homogeneous();
    lengths_.set_halign(Gtk::Align::START);
    lengths_.set_size_request(lengthsWidth, -1);
    for (std::size_t i = 0; i < lengthButtons_.size(); ++i) {
        const auto length = LockSettingsView::lengths[i];
        lengthButtons_[i].set_label(view_->lengthLabel(length));
        makeChoice(lengthButtons_[i]);
        lengthButtons_[i].signal_clicked().connect([this, length] { view_->pickLength(length); });
        lengths_.append(lengthButtons_[i]);
    }
    column_.append(lengths_, inSection);

    column_.append(styled(sealingHint_, "small-hint"), inSection);
    auto& row = *Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, 8);
    change_.add_css_class("push");
    change_.signal_clicked().connect([this] { view_->change(); });
    row.append(change_);
    turnOff_.add_css_class("push");
    turnOff_.set_label(view_->turnOffLabel());
    turnOff_.signal_clicked().connect([this] { view_->turnOff(); });
    row.append(turnOff_);
    column_.append(row, inSection);
}

void LockSettingsScreen::buildAutoLock() {
    auto& switchRow = *Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, 8);
    auto& label = makeLabel("heading", view_->autoLockLabel());
    switchRow.append(label);
    const auto click = Gtk::GestureClick::create();
    click->signal_released().connect([this](int, double, double) {
        if (autoLock_.is_sensitive())
            view_->setAutoLock(!view_->state().autoLock);
    });
    label.add_controller(click);
    setAccessibleName(autoLock_, view_->autoLockLabel());
    autoLock_.set_valign(Gtk::Align::CENTER);
    autoLock_.property_active().signal_changed().connect([this] {
        if (!rendering_)
            view_->setAutoLock(autoLock_.get_active());
    });
    switchRow.append(autoLock_);
    column_.append(switchRow, aroundDivider);

    minutesRow_.append(makeLabel("text", view_->minutesLabel()));
    minutes_.add_css_class("minutes");
    minutes_.set_size_request(minutesWidth, -1);
    minutes_.set_hexpand(false);
    gtk_editable_set_max_width_chars(GTK_EDITABLE(minutes_.get_first_child()->gobj()), 1);
    minutes_.setAccessibleName(view_->minutesLabel());
    minutes_.setPurpose(Gtk::InputPurpose::DIGITS);
    minutes_.onTyped = [this](std::string_view text) {
        const auto number = LocaleInteger::parse(text);
        if (!rendering_ && number)
            view_->editMinutes(*number);
    };
    // What was no number gives way to the one that stands.
    minutes_.onFocus = [this](bool) { render(); };
    minutesRow_.append(minutes_);
    auto& stepper = *Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL);
    stepper.add_css_class("stepper");
    stepper.set_valign(Gtk::Align::CENTER);
    for (const auto& [button, icon, name, step] : {std::tuple(&more_, "pan-up-symbolic", "Increase", 1),
                                                   {&fewer_, "pan-down-symbolic", "Decrease", -1}}) {
        button->set_icon_name(icon);
        setAccessibleName(*button, name);
        button->signal_clicked().connect([this, by = step] { view_->stepMinutes(by); });
        stepper.append(*button);
    }
    minutesRow_.append(stepper);
    minutesRow_.append(styled(unit_, "text"));
    column_.append(minutesRow_, inSection);
    column_.append(styled(autoLockHint_, "hint"), inSection);
}

void LockSettingsScreen::buildShortcut() {
    auto& heading = makeLabel("heading", view_->shortcutTitle());
    column_.append(heading, aroundDivider);
    auto& row = *Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, 8);
    record_.add_css_class("record");
    record_.set_size_request(recordWidth, recordHeight);
    record_.signal_clicked().connect([this] { view_->toggleRecording(); });
    row.append(record_);
    clear_.set_label(view_->clearLabel());
    clear_.signal_clicked().connect([this] { view_->clearShortcut(); });
    default_.set_label(view_->defaultLabel());
    default_.signal_clicked().connect([this] { view_->useDefaultShortcut(); });
    for (auto* button : {&clear_, &default_}) {
        button->add_css_class("push");
        button->set_valign(Gtk::Align::CENTER);
        row.append(*button);
    }
    column_.append(row, inSection);
    column_.append(styled(shortcutHint_, "hint"), inSection);
    shortcutRows_ = {&heading, &row, &shortcutHint_};
}

void LockSettingsScreen::buildEnd() {
    auto& row = *Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, 8);
    row.append(styled(message_, "message"));
    message_.set_hexpand();
    message_.set_ellipsize(Pango::EllipsizeMode::END);
    done_.add_css_class("push");
    done_.add_css_class("done");
    done_.set_label(view_->doneLabel());
    done_.signal_clicked().connect([this] { view_->done(); });
    row.append(done_);
    column_.append(row, aboveEnd);
}

void LockSettingsScreen::watchKeys() {
    const auto keys = Gtk::EventControllerKey::create();
    keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
    keys->signal_key_pressed().connect(
        [this](guint key, guint, Gdk::ModifierType) {
            // The default action, whichever button has the keyboard; Space presses that one.
            if (!isReturn(key))
                return false;
            view_->done();
            return true;
        },
        false);
    root_.add_controller(keys);

    const auto steps = Gtk::EventControllerKey::create();
    steps->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
    steps->signal_key_pressed().connect(
        [this](guint key, guint, Gdk::ModifierType) {
            if (key != GDK_KEY_Up && key != GDK_KEY_Down)
                return false;
            view_->stepMinutes(key == GDK_KEY_Up ? 1 : -1);
            return true;
        },
        false);
    minutes_.add_controller(steps);
}

void LockSettingsScreen::watchWindow() {
    root_.signal_map().connect([this] {
        if (auto* window = dynamic_cast<Gtk::Window*>(root_.get_root()))
            window->set_default_widget(done_);
        done_.grab_focus();
    });
    root_.signal_unmap().connect([this] {
        if (auto* window = dynamic_cast<Gtk::Window*>(root_.get_root()))
            gtk_window_set_default_widget(window->gobj(), nullptr);
        view_->disappeared();
    });
}

void LockSettingsScreen::render() {
    if (rendering_)
        return;
    rendering_ = true;
    renderPasscode();
    renderAutoLock();
    renderShortcut();
    setHint(message_, view_->message());
    message_.set_visible();
    rendering_ = false;
    listenToKeys();
}

void LockSettingsScreen::renderPasscode() {
    status_.set_text(view_->passcodeStatus());
    // Each control by itself: assistive technology asks them, not what they are in.
    setClass(lengths_, "dimmed", !view_->canChooseLength());
    for (std::size_t i = 0; i < lengthButtons_.size(); ++i) {
        lengthButtons_[i].set_sensitive(view_->canChooseLength());
        setChosen(lengthButtons_[i], LockSettingsView::lengths[i] == view_->state().digits);
    }
    setHint(sealingHint_, view_->sealingHint());
    setLabel(change_, view_->changeLabel());
    change_.set_sensitive(view_->canChange());
    turnOff_.set_visible(view_->canTurnOff());
}

void LockSettingsScreen::renderAutoLock() {
    const auto& state = view_->state();
    autoLock_.set_active(state.autoLock);
    autoLock_.set_sensitive(view_->canSwitchAutoLock());
    for (auto* control :
         {minutes_.get_first_child(), static_cast<Gtk::Widget*>(&more_), static_cast<Gtk::Widget*>(&fewer_)})
        control->set_sensitive(view_->canEditMinutes());
    setClass(minutesRow_, "dimmed", !view_->canEditMinutes());
    const auto typed = LocaleInteger::parse(minutes_.text());
    if (typed != state.minutes && (typed || !minutes_.hasFocus()))
        minutes_.setText(LocaleInteger::format(state.minutes));
    unit_.set_text(view_->minutesUnit());
    setHint(autoLockHint_, view_->autoLockHint());
}

void LockSettingsScreen::renderShortcut() {
    for (auto* row : shortcutRows_)
        setClass(*row, "dimmed", !view_->canRecord());
    setLabel(record_, view_->recordLabel());
    const auto keys = view_->shortcutKeys();
    const auto accelerator = keys ? Accelerator::of(*keys) : std::nullopt;
    record_.set_tooltip_text(
        accelerator ? GText(gtk_accelerator_get_label(accelerator->key, accelerator->modifiers)).get() : "");
    setClass(record_, "recording", view_->state().recording);
    record_.set_sensitive(view_->canRecord());
    clear_.set_sensitive(view_->canClear());
    default_.set_sensitive(view_->canRecord());
    shortcutHint_.set_text(view_->shortcutHint());
}

void LockSettingsScreen::listenToKeys() {
    if (view_->state().recording == static_cast<bool>(recorder_))
        return;
    if (recorder_) {
        recorded_->remove_controller(std::exchange(recorder_, {}));
        return;
    }
    // The latest controller of a window is asked first, before its shortcuts.
    recorded_ = dynamic_cast<Gtk::Widget*>(root_.get_root());
    if (!recorded_)
        return;
    recorder_ = Gtk::EventControllerKey::create();
    recorder_->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
    recorder_->signal_key_pressed().connect(
        [this](guint key, guint code, Gdk::ModifierType held) {
            LockSettingsView::KeyPress press;
            press.isEscape = key == GDK_KEY_Escape;
            press.text = textOf(GTK_EVENT_CONTROLLER(recorder_->gobj()), key, code);
            for (const auto& [mask, modifier] : modifierKeys)
                if (static_cast<unsigned>(held) & mask)
                    press.modifiers |= modifier;
            return view_->press(press);
        },
        false);
    recorded_->add_controller(recorder_);
}
