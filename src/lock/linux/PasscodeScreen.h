#pragma once

#include "lock/PasscodeView.h"
#include "lock/linux/PasscodeDots.h"
#include "platform/Window.h"
#include "platform/linux/WidgetScreen.h"
#include "platform/linux/WrappingLabel.h"

#include <gtkmm/box.h>
#include <gtkmm/button.h>
#include <gtkmm/overlay.h>
#include <gtkmm/scrolledwindow.h>
#include <gtkmm/spinner.h>

#include <array>
#include <memory>
#include <vector>

class FieldBox;

/// Draws the passcode screen and forwards what the person does to its PasscodeView. Lengths and font sizes
/// are CSS pixels.
class PasscodeScreen : public Screen, public WidgetScreen {
public:
    explicit PasscodeScreen(std::shared_ptr<PasscodeView> view);
    ~PasscodeScreen() override;

    PasscodeView& view() { return *view_; }
    GtkWidget* widget() override { return GTK_WIDGET(root_.gobj()); }

private:
    static constexpr int columnWidth = 320;

    void buildHeading();
    void buildFields();
    void buildLengths();
    void buildFooter();
    void watchWindow();

    void render();
    void renderDots();
    void renderLengths();
    void renderFooter();
    void moveFocus();

    std::shared_ptr<PasscodeView> view_;
    Gtk::ScrolledWindow root_;
    Gtk::Box column_{Gtk::Orientation::VERTICAL};
    WrappingLabel title_{columnWidth};
    std::unique_ptr<FieldBox> password_, code_;
    Gtk::Overlay dotRow_;
    PasscodeDots dots_;
    Gtk::Box lengths_{Gtk::Orientation::HORIZONTAL, 4};
    std::array<Gtk::Button, PasscodeView::lengths.size()> lengthButtons_;
    WrappingLabel message_{columnWidth};
    Gtk::Box footer_{Gtk::Orientation::VERTICAL, 12};
    Gtk::Spinner spinner_;
    std::vector<Gtk::Button*> buttons_; ///< in the order of the view's; the footer owns them
    WrappingLabel note_{columnWidth};
    sigc::connection tick_;
    sigc::connection activation_;
    bool rendering_ = false;
    bool appeared_ = false;
};
