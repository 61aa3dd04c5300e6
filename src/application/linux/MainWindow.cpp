#include "application/linux/MainWindow.h"

#include "platform/linux/WidgetScreen.h"

#include <glibmm/main.h>
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
    text << std::fixed << std::setprecision(4) << "rgba(" << color.red * 100 << "%," << color.green * 100
         << "%," << color.blue * 100 << "%," << color.alpha << ")";
    return text.str();
}

GtkWidget* widgetOf(Screen& screen) {
    auto* drawable = dynamic_cast<WidgetScreen*>(&screen);
    if (!drawable)
        throw std::logic_error("a screen without a widget");
    return drawable->widget();
}

} // namespace

MainWindow::MainWindow(const Glib::RefPtr<Gtk::Application>& application)
    : style_(Gtk::CssProvider::create()) {
    application->add_window(window_);
    // gtkmm takes a window out of its application when it is hidden, which ends the program. This one comes
    // back.
    const auto hide = g_signal_lookup("hide", GTK_TYPE_WIDGET);
    const auto handler =
        g_signal_handler_find(window_.gobj(), G_SIGNAL_MATCH_ID, hide, 0, nullptr, nullptr, nullptr);
    g_signal_handler_disconnect(window_.gobj(), handler);
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

    Gtk::StyleContext::add_provider_for_display(window_.get_display(), style_,
                                                GTK_STYLE_PROVIDER_PRIORITY_APPLICATION + 1);
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
    auto* widget = widgetOf(screen);
    // The toolkit takes the focus from what leaves the window only with the next frame, when it may be gone.
    window_.unset_focus();
    gtk_window_set_child(GTK_WINDOW(window_.gobj()), widget);
    // A screen that does not choose for itself, a page for one, has the keyboard as a whole.
    if (!window_.get_focus())
        gtk_widget_child_focus(widget, GTK_DIR_TAB_FORWARD);
    content_ = &screen;
}

void MainWindow::presentSheet(Screen& screen) {
    dismissSheet();
    sheet_ = std::make_unique<Gtk::Window>();
    sheet_->set_transient_for(window_);
    sheet_->set_modal();
    sheet_->set_decorated(false);
    sheet_->set_resizable(false);
    sheet_->set_title(window_.get_title());
    sheet_->add_css_class("sheet");
    // The screen on it says how it ends: a window that is closed from outside would leave nobody told.
    sheet_->signal_close_request().connect([] { return true; }, false);
    gtk_window_set_child(GTK_WINDOW(sheet_->gobj()), widgetOf(screen));
    sheetScreen_ = &screen;
    sheet_->present();
}

void MainWindow::dismissSheet() {
    if (!sheet_)
        return;
    sheet_->unset_focus();
    sheet_->unset_child();
    sheet_->set_visible(false);
    sheetScreen_ = nullptr;
    // The sheet may be going away inside one of its own signals; the toolkit finishes those first.
    const std::shared_ptr<Gtk::Window> old = std::move(sheet_);
    Glib::signal_idle().connect_once([old] {});
}

void MainWindow::removeContent() {
    dismissSheet();
    window_.unset_focus();
    window_.unset_child();
    content_ = nullptr;
}

void MainWindow::setAppearance(Appearance appearance) {
    const auto settings = Gtk::Settings::get_for_display(window_.get_display());
    const auto dark = appearance == Appearance::dark;
    // The toolkit reads its whole theme again at every assignment.
    if (settings->property_gtk_application_prefer_dark_theme() != dark)
        settings->property_gtk_application_prefer_dark_theme() = dark;
}

void MainWindow::setBackground(Color color) {
    const auto value = cssColor(color);
    style_->load_from_data("window.brisko-window, window.brisko-window headerbar { background: " + value +
                           "; }");
}

void MainWindow::present() {
    window_.present();
}
