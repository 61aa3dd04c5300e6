#pragma once

#include <gtkmm/box.h>
#include <gtkmm/text.h>

#include <functional>
#include <string>
#include <string_view>

/// A field box: one line of plain text, with room for a control at its end.
///
/// A secret field never gives its text away: it is held in memory that is wiped, is never copied or cut,
/// never becomes the primary selection or a drag, has no undo list and is not offered to input methods to
/// learn from. That holds while it is revealed too.
class FieldBox : public Gtk::Box {
public:
    enum class Kind { plain, secret };

    explicit FieldBox(Kind kind);

    /// The text as the field holds it, until the next change: no copy is made that nobody wipes.
    std::string_view text() const { return gtk_editable_get_text(entry_); }
    /// Puts the caret behind the text, but leaves it where it is when the text is already this one.
    void setText(std::string_view text);
    /// The placeholder is the accessible name too.
    void setPlaceholder(const std::string& placeholder);
    void setAccessibleName(const std::string& name);
    /// What else assistive technology says of it.
    void setAccessibleDescription(const std::string& description);
    void setRevealed(bool revealed);
    void setPurpose(Gtk::InputPurpose purpose);
    void addTrailing(Gtk::Widget& control) { append(control); }

    bool hasFocus() const { return text_->has_focus(); }
    void takeFocus() { text_->grab_focus_without_selecting(); }

    std::function<void(std::string_view text)> onTyped;
    std::function<void()> onReturn;
    std::function<void(bool focused)> onFocus;

private:
    void keepSecret();
    void silencePrimarySelection();

    /// What assistive technology sees: it tells it whether what is typed may be spoken. It belongs to the
    /// box.
    GtkEditable* entry_;
    /// What does the entry's work, a part of it.
    Gtk::Text* text_;
};
