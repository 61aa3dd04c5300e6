#include "application/linux/MessagePanel.h"

#include "application/linux/WindowStack.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/WrappingLabel.h"

#include <glibmm/main.h>
#include <gtkmm/adjustment.h>
#include <gtkmm/button.h>
#include <gtkmm/shortcut.h>
#include <gtkmm/shortcutaction.h>
#include <gtkmm/shortcutcontroller.h>
#include <gtkmm/shortcuttrigger.h>

#include <utility>

namespace {

constexpr int textWidth = 380;
constexpr int textHeight = 300; ///< at most; leaves room in the smallest main window

/// More characters than anybody reads. The toolkit lays a text out as a whole: a million characters would
/// hold the program up for seconds, and a million lines are higher than it can draw.
constexpr Glib::ustring::size_type longestText = 10'000;

/// A page's text may hold anything; the toolkit takes well-formed text without NUL.
Glib::ustring wellFormed(const std::string& text) {
    const GText copy(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    return copy.get();
}

Glib::ustring drawable(const std::string& text) {
    const auto whole = wellFormed(text);
    return whole.size() > longestText ? whole.substr(0, longestText) + "…" : whole;
}

Gtk::Label* makeLabel(const Glib::ustring& text, const char* style) {
    auto* label = Gtk::make_managed<WrappingLabel>(textWidth);
    label->set_text(text);
    label->set_xalign(0);
    label->set_yalign(0);
    // A word that is cut may be a file's name or an address, to which a hyphen would seem to belong.
    Pango::AttrList attributes;
    auto plain = Pango::Attribute::create_attr_insert_hyphens(false);
    attributes.insert(plain);
    label->set_attributes(attributes);
    label->add_css_class(style);
    return label;
}

void addKey(Gtk::ShortcutController& keys, guint key, std::function<void()> action) {
    keys.add_shortcut(Gtk::Shortcut::create(Gtk::KeyvalTrigger::create(key),
                                            Gtk::CallbackAction::create([action](Gtk::Widget&, const auto&) {
                                                action();
                                                return true;
                                            })));
}

} // namespace

MessagePanel::MessagePanel(Answered answered)
    : answered_(std::move(answered)), window_(std::make_unique<Gtk::Window>()) {}

std::shared_ptr<MessagePanel> MessagePanel::make(const Content& content, Answered answered) {
    std::shared_ptr<MessagePanel> panel(new MessagePanel(std::move(answered)));
    panel->build(content);
    return panel;
}

MessagePanel::~MessagePanel() {
    close();
}

void MessagePanel::build(const Content& content) {
    g_object_set(window_->gobj(), "accessible-role", GTK_ACCESSIBLE_ROLE_ALERT_DIALOG, nullptr);
    window_->set_modal();
    window_->set_decorated(false);
    window_->set_resizable(false);
    window_->set_title(drawable(content.title));
    window_->add_css_class("message-panel");

    auto* column = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL, 0);
    column->set_size_request(textWidth, -1);
    column->append(*makeLabel(drawable(content.title), "title"));
    auto* text = Gtk::make_managed<Gtk::ScrolledWindow>();
    text->set_policy(Gtk::PolicyType::NEVER, Gtk::PolicyType::AUTOMATIC);
    text->set_propagate_natural_height();
    text->set_can_focus(false);
    text->set_max_content_height(textHeight);
    text->set_child(*makeLabel(drawable(content.text), "text"));
    text->set_visible(!content.text.empty());
    column->append(*text);
    if (content.suggestion)
        addField(*column, content);

    auto* row = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, 10);
    row->set_halign(Gtk::Align::END);
    if (content.kind == Kind::question)
        addButton(*row, content.cancelLabel, Answer::cancel);
    addButton(*row, content.okLabel, Answer::ok);
    column->append(*row);
    window_->set_child(*column);
    window_->set_focus(field_ ? *field_ : *window_->get_default_widget());
    addKeys(*text);

    const auto giveUp = answering(Answer::givenUp);
    window_->signal_close_request().connect(
        [giveUp] {
            giveUp();
            return true;
        },
        false);
}

void MessagePanel::addField(Gtk::Box& column, const Content& content) {
    field_ = Gtk::make_managed<Gtk::Entry>();
    field_->set_text(wellFormed(*content.suggestion));
    field_->set_activates_default();
    const auto& name = content.text.empty() ? content.title : content.text;
    gtk_accessible_update_property(GTK_ACCESSIBLE(field_->gobj()), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                   drawable(name).c_str(), -1);
    column.append(*field_);
}

void MessagePanel::addButton(Gtk::Box& row, const std::string& label, Answer answer) {
    auto* button = Gtk::make_managed<Gtk::Button>(label);
    button->signal_clicked().connect(answering(answer));
    row.append(*button);
    if (answer != Answer::ok)
        return;
    button->add_css_class("ok");
    window_->set_default_widget(*button);
}

void MessagePanel::addKeys(Gtk::ScrolledWindow& text) {
    const auto keys = Gtk::ShortcutController::create();
    addKey(*keys, GDK_KEY_Escape, answering(Answer::givenUp));
    const auto scroll = [&text](double pages) {
        return [position = text.get_vadjustment(), pages] {
            position->set_value(position->get_value() + pages * position->get_page_size());
        };
    };
    constexpr auto page = 0.9;
    addKey(*keys, GDK_KEY_Page_Down, scroll(page));
    addKey(*keys, GDK_KEY_Page_Up, scroll(-page));
    window_->add_controller(keys);
}

std::function<void()> MessagePanel::answering(Answer answer) {
    return [self = weak_from_this(), answer] {
        if (const auto panel = self.lock())
            panel->answer(answer);
    };
}

void MessagePanel::answer(Answer answer) {
    const auto answered = std::exchange(answered_, nullptr);
    const auto text = field_ ? field_->get_text().raw() : std::string();
    close();
    if (answered)
        answered(answer, text);
}

void MessagePanel::present(Gtk::Window& parent) {
    // It may be back already, with the window that it was over.
    if (!window_ || window_->get_visible())
        return;
    window_->set_transient_for(parent);
    window_->present();
}

void MessagePanel::hide() {
    if (window_)
        window_->set_visible(false);
}

void MessagePanel::close() {
    answered_ = nullptr;
    if (!window_)
        return;
    field_ = nullptr;
    WindowStack::close(window_->gobj());
    window_->set_visible(false);
    // The window may be going away inside one of its own signals; the toolkit finishes those first.
    const std::shared_ptr<Gtk::Window> old = std::move(window_);
    Glib::signal_idle().connect_once([old] {});
}
