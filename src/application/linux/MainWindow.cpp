#include "application/linux/MainWindow.h"

#include "platform/linux/WidgetScreen.h"

#include <gtkmm/application.h>
#include <gtkmm/label.h>
#include <gtkmm/settings.h>

#include <iomanip>
#include <locale>
#include <sstream>
#include <stdexcept>

namespace {

constexpr int defaultWidth = 1180;
constexpr int defaultHeight = 800;
constexpr int minimumWidth = 820;
constexpr int minimumHeight = 560;

/// CSS writes numbers the same way in every locale.
std::string cssColor(const Color& color) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed << std::setprecision(4) << "rgba(" << color.red * 100 << "%," << color.green * 100 << "%,"
         << color.blue * 100 << "%," << color.alpha << ")";
    return text.str();
}

} // namespace

MainWindow::MainWindow(const Glib::RefPtr<Gtk::Application>& application) : style_(Gtk::CssProvider::create()) {
    application->add_window(window_);
    window_.set_title("brisko");
    window_.set_icon_name("app.brisko.Brisko");
    window_.set_default_size(defaultWidth, defaultHeight);
    window_.set_size_request(minimumWidth, minimumHeight);
    window_.set_hide_on_close();
    window_.add_css_class("brisko-window");

    // One flat row in the window's colour, without title text.
    header_.set_title_widget(*Gtk::make_managed<Gtk::Label>());
    header_.add_css_class("flat");
    window_.set_titlebar(header_);

    Gtk::StyleContext::add_provider_for_display(window_.get_display(), style_, GTK_STYLE_PROVIDER_PRIORITY_APPLICATION + 1);
}

MainWindow::~MainWindow() {
    removeContent();
    Gtk::StyleContext::remove_provider_for_display(window_.get_display(), style_);
}

Window::Frame MainWindow::frame() const {
    int width = 0;
    int height = 0;
    window_.get_default_size(width, height);
    return Frame(width, height);
}

void MainWindow::setFrame(Frame frame) {
    window_.set_default_size(frame.width, frame.height);
}

void MainWindow::setContent(Screen& screen) {
    auto* drawable = dynamic_cast<WidgetScreen*>(&screen);
    if (!drawable)
        throw std::logic_error("a screen without a widget");
    gtk_window_set_child(GTK_WINDOW(window_.gobj()), drawable->widget());
    content_ = &screen;
}

void MainWindow::removeContent() {
    window_.unset_child();
    content_ = nullptr;
}

void MainWindow::setAppearance(Appearance appearance) {
    Gtk::Settings::get_for_display(window_.get_display())->property_gtk_application_prefer_dark_theme() =
        appearance == Appearance::dark;
}

void MainWindow::setBackground(Color color) {
    const auto value = cssColor(color);
    style_->load_from_data("window.brisko-window, window.brisko-window headerbar { background: " + value + "; }");
}

void MainWindow::present() {
    window_.present();
}
