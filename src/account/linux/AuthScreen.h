#pragma once

#include "account/AuthView.h"
#include "platform/Window.h"
#include "platform/linux/WidgetScreen.h"
#include "platform/linux/WrappingLabel.h"

#include <gtkmm/box.h>
#include <gtkmm/button.h>
#include <gtkmm/label.h>
#include <gtkmm/picture.h>
#include <gtkmm/scrolledwindow.h>
#include <gtkmm/spinner.h>

#include <array>
#include <memory>

class FieldBox;

/// Draws the sign-in screen and forwards what the person does to its AuthView. Lengths and font sizes are CSS
/// pixels.
class AuthScreen : public Screen, public WidgetScreen {
public:
    explicit AuthScreen(std::shared_ptr<AuthView> view);
    ~AuthScreen() override;

    AuthView& view() { return *view_; }
    GtkWidget* widget() override { return GTK_WIDGET(root_.gobj()); }

private:
    static constexpr int columnWidth = 340;

    void buildHeading();
    void buildPills();
    void buildFields();
    void buildCaptchaRow();
    void buildMessages();
    void buildButtons();
    void buildFooter();
    void watchKeys();
    void bind(FieldBox& field, AuthView::Field name);

    void render();
    void renderFields();
    void renderCaptcha();
    void renderMessage(Gtk::Label& label, const std::optional<std::string>& message);
    void moveFocus();

    std::shared_ptr<AuthView> view_;
    Gtk::ScrolledWindow root_;
    Gtk::Box column_{Gtk::Orientation::VERTICAL};
    Gtk::Label subtitle_;
    Gtk::Box pills_{Gtk::Orientation::HORIZONTAL, 4};
    std::array<Gtk::Button, 2> pillButtons_;
    Gtk::Box fieldColumn_{Gtk::Orientation::VERTICAL, 10};
    std::unique_ptr<FieldBox> identifier_, email_, password_, captchaAnswer_;
    Gtk::Button reveal_;
    Gtk::Box captchaRow_{Gtk::Orientation::HORIZONTAL, 8};
    Gtk::Picture captchaImage_;
    Gtk::Button reloadCaptcha_;
    WrappingLabel error_{columnWidth}, notice_{columnWidth};
    Gtk::Button submit_;
    Gtk::Label submitLabel_;
    Gtk::Spinner submitSpinner_;
    Gtk::Button google_;
    Gtk::Button footer_;
    std::optional<std::string>
        shownImage_; ///< the bytes of the picture in the captcha row, empty for the placeholder
    bool rendering_ = false;
    bool appeared_ = false;
};
