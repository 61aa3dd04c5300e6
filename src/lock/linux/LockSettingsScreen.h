#pragma once

#include "lock/LockSettingsView.h"
#include "platform/Window.h"
#include "platform/linux/FieldBox.h"
#include "platform/linux/GapColumn.h"
#include "platform/linux/WidgetScreen.h"
#include "platform/linux/WrappingLabel.h"

#include <gtkmm/box.h>
#include <gtkmm/button.h>
#include <gtkmm/eventcontrollerkey.h>
#include <gtkmm/label.h>
#include <gtkmm/scrolledwindow.h>
#include <gtkmm/switch.h>

#include <array>
#include <memory>

/// Draws the "Lock & Passcode" panel and forwards what the person does to its LockSettingsView. It has one
/// size; texts that need more room than usual take it from the gaps, and only then scroll. Lengths are CSS
/// pixels.
class LockSettingsScreen : public Screen, public WidgetScreen {
public:
    static constexpr int width = 420;
    static constexpr int height = 500;

    explicit LockSettingsScreen(std::shared_ptr<LockSettingsView> view);
    ~LockSettingsScreen() override;

    LockSettingsView& view() { return *view_; }
    GtkWidget* widget() override { return GTK_WIDGET(root_.gobj()); }

private:
    static constexpr int padding = 26;
    static constexpr int columnWidth = width - 2 * padding;

    void addDivider();
    void buildPasscode();
    void buildAutoLock();
    void buildShortcut();
    void buildEnd();
    void watchKeys();
    void watchWindow();

    void render();
    void renderPasscode();
    void renderAutoLock();
    void renderShortcut();
    void listenToKeys();

    std::shared_ptr<LockSettingsView> view_;
    Gtk::ScrolledWindow root_;
    GapColumn column_{{padding, 8}};
    WrappingLabel status_{columnWidth};
    Gtk::Box lengths_{Gtk::Orientation::HORIZONTAL, 4};
    std::array<Gtk::Button, LockSettingsView::lengths.size()> lengthButtons_;
    WrappingLabel sealingHint_{columnWidth};
    Gtk::Button change_, turnOff_;
    Gtk::Switch autoLock_;
    Gtk::Box minutesRow_{Gtk::Orientation::HORIZONTAL, 8};
    FieldBox minutes_{FieldBox::Kind::plain};
    Gtk::Button more_, fewer_;
    Gtk::Label unit_;
    WrappingLabel autoLockHint_{columnWidth};
    std::array<Gtk::Widget*, 3> shortcutRows_{}; ///< dimmed together; the column's
    Gtk::Button record_, clear_, default_;
    WrappingLabel shortcutHint_{columnWidth};
    Gtk::Label message_;
    Gtk::Button done_;
    /// In the panel's window before everybody else while a shortcut is recorded; null otherwise.
    Glib::RefPtr<Gtk::EventControllerKey> recorder_;
    Gtk::Widget* recorded_ = nullptr; ///< what the recorder listens in
    bool rendering_ = false;
};
