#include "application/linux/MainWindow.h"

#include "application/linux/WindowStack.h"
#include "platform/Contrast.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/WidgetScreen.h"
#include "web/linux/WebEngine.h"

#include <glibmm/main.h>
#include <gtkmm/application.h>
#include <gtkmm/icontheme.h>
#include <gtkmm/settings.h>

#include <algorithm>
#include <iomanip>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace {

/// How long the frame has to stand still before it is kept: a resize is many changes.
constexpr unsigned standstillInMilliseconds = 400;

/// CSS writes numbers the same way in every locale.
std::string cssColor(const Color& color) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed << std::setprecision(4) << "rgb(" << color.red * 100 << "%," << color.green * 100
         << "%," << color.blue * 100 << "%)";
    return text.str();
}

/// The colours that the style sheet of the window names.
std::string colorDefinitions(const Color& ground) {
    constexpr double faint = 0.1;
    constexpr double strong = 0.2;
    std::string text;
    for (const auto& [name, color] : {std::pair("ground", ground),
                                      {"ink", Contrast::ink(ground)},
                                      {"hover", Contrast::marked(ground, faint)},
                                      {"mark", Contrast::marked(ground, strong)}})
        text += std::string("@define-color window_") + name + " " + cssColor(color) + ";\n";
    return text;
}

/// The largest of the display's monitors: the window may come up on any.
Window::Frame monitorOf(GdkDisplay* display) {
    Window::Frame largest;
    auto* const monitors = gdk_display_get_monitors(display);
    for (guint i = 0; i < g_list_model_get_n_items(monitors); ++i) {
        const auto monitor = GPtr<GdkMonitor>::take(GDK_MONITOR(g_list_model_get_item(monitors, i)));
        GdkRectangle area;
        gdk_monitor_get_geometry(monitor.get(), &area);
        largest = {std::max(largest.width, area.width), std::max(largest.height, area.height)};
    }
    return largest;
}

GtkWidget* widgetOf(Screen& screen) {
    auto* drawable = dynamic_cast<WidgetScreen*>(&screen);
    if (!drawable)
        throw std::logic_error("a screen without a widget");
    return drawable->widget();
}

} // namespace

MainWindow::MainWindow(const Glib::RefPtr<Gtk::Application>& application, UserDefaults& defaults)
    : defaults_(defaults), style_(Gtk::CssProvider::create()) {
    application->add_window(window_);
    // gtkmm takes a window out of its application when it is hidden, which ends the program. This one comes
    // back.
    const auto hide = g_signal_lookup("hide", GTK_TYPE_WIDGET);
    const auto handler =
        g_signal_handler_find(window_.gobj(), G_SIGNAL_MATCH_ID, hide, 0, nullptr, nullptr, nullptr);
    g_signal_handler_disconnect(window_.gobj(), handler);
    layers_.onCoverPressed = [this] {
        if (const auto tell = onCoverPressed)
            tell();
    };
    window_.set_title("brisko");
    // Where the program is not installed, the desktop's icon theme does not have it.
    Gtk::IconTheme::get_for_display(window_.get_display())->add_resource_path("/app/brisko/Brisko/icons");
    window_.set_icon_name("app.brisko.Brisko");
    window_.set_size_request(WindowFrame::minimum.width, WindowFrame::minimum.height);
    window_.set_hide_on_close();
    window_.add_css_class("brisko-window");
    buildHeader();
    restoreFrame();
    watchFrame();
    Gtk::StyleContext::add_provider_for_display(window_.get_display(), style_,
                                                GTK_STYLE_PROVIDER_PRIORITY_APPLICATION + 1);
    window_.signal_map().connect([this] {
        if (std::exchange(isNew_, false))
            whenDrawn([this] { makeUpForBorder(); });
        draw();
    });
}

MainWindow::~MainWindow() {
    removeContent();
    if (keeping_)
        keepFrame();
    Gtk::StyleContext::remove_provider_for_display(window_.get_display(), style_);
}

void MainWindow::buildHeader() {
    // The toolkit takes a title bar away in full screen. This one is part of the content, and what the
    // toolkit has for one is never shown, so that it still draws no frame of its own.
    auto* const untitled = Gtk::make_managed<Gtk::Box>();
    untitled->set_visible(false);
    window_.set_titlebar(*untitled);
    header_.set_title_widget(*Gtk::make_managed<Gtk::Box>());
    header_.add_css_class("flat");
    column_.append(header_);
    column_.append(layers_.widget());
    layers_.widget().set_vexpand();
    window_.set_child(column_);
}

void MainWindow::restoreFrame() {
    const auto kept = WindowFrame::load(defaults_);
    isNew_ = !kept;
    if (kept)
        setFrame(WindowFrame::fitted(kept->size, monitorOf(window_.get_display()->gobj())));
    else
        useStandardSize();
    if (kept && kept->maximized)
        window_.maximize();
}

/// The standard is that of the content, and the header comes on top of it.
void MainWindow::useStandardSize() {
    int header = 0;
    gtk_widget_measure(GTK_WIDGET(header_.gobj()), GTK_ORIENTATION_VERTICAL, -1, nullptr, &header, nullptr,
                       nullptr);
    const auto [width, height] = WindowFrame::standard;
    setFrame(WindowFrame::fitted({width, height + header}, monitorOf(window_.get_display()->gobj())));
}

/// Where nobody composes the screen, the toolkit draws a border within the window's size.
void MainWindow::makeUpForBorder() {
    if (window_.is_maximized() || window_.is_fullscreen())
        return;
    const auto now = frame();
    const auto [width, height] = WindowFrame::standard;
    const Frame wanted = {now.width + width - layers_.widget().get_width(),
                          now.height + height - layers_.widget().get_height()};
    if (WindowFrame::fitted(wanted, monitorOf(window_.get_display()->gobj())) == wanted)
        setFrame(wanted);
}

void MainWindow::setMenuBar(Gtk::Widget& menuBar) {
    header_.pack_start(menuBar);
    if (isNew_)
        useStandardSize();
}

void MainWindow::watchFrame() {
    const auto changed = [this] {
        keeping_.disconnect();
        keeping_ = Glib::signal_timeout().connect(
            [this] {
                keepFrame();
                return false;
            },
            standstillInMilliseconds);
    };
    window_.property_default_width().signal_changed().connect(changed);
    window_.property_default_height().signal_changed().connect(changed);
    window_.property_maximized().signal_changed().connect(changed);
}

void MainWindow::keepFrame() {
    keeping_.disconnect();
    WindowFrame::save(defaults_, {frame(), window_.is_maximized()});
}

Window::Frame MainWindow::frame() const {
    int width = 0;
    int height = 0;
    window_.get_default_size(width, height);
    return {width, height};
}

void MainWindow::setFrame(Frame frame) {
    window_.set_default_size(frame.width, frame.height);
}

void MainWindow::setContent(Screen& screen) {
    layers_.setContent(widgetOf(screen));
    content_ = &screen;
}

void MainWindow::presentSheet(Screen& screen) {
    dismissSheet();
    sheet_ = std::make_unique<Gtk::Window>();
    g_object_set(sheet_->gobj(), "accessible-role", GTK_ACCESSIBLE_ROLE_DIALOG, nullptr);
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
    if (onSheetChanged)
        onSheetChanged();
    sheet_->present();
}

void MainWindow::dismissSheet() {
    if (!sheet_)
        return;
    WindowStack::close(sheet_->gobj());
    sheet_->unset_focus();
    sheet_->unset_child();
    sheet_->set_visible(false);
    sheetScreen_ = nullptr;
    // The sheet may be going away inside one of its own signals; the toolkit finishes those first.
    const std::shared_ptr<Gtk::Window> old = std::move(sheet_);
    Glib::signal_idle().connect_once([old] {});
    if (onSheetChanged)
        onSheetChanged();
}

GtkWebView* MainWindow::pageAround(GtkWidget* widget) const {
    auto* const page = dynamic_cast<GtkWebView*>(content_);
    return page && widget && gtk_widget_is_ancestor(widget, page->widget()) ? page : nullptr;
}

void MainWindow::removeContent() {
    dismissSheet();
    layers_.removeOverlay();
    layers_.setContent(nullptr);
    content_ = nullptr;
}

void MainWindow::showOverlay(Screen& screen) {
    layers_.showOverlay(widgetOf(screen));
}

void MainWindow::setAppearance(Appearance appearance) {
    lookAs({appearance, wanted_.background});
}

void MainWindow::setBackground(Color color) {
    lookAs({wanted_.appearance, Contrast::drawn(color)});
}

void MainWindow::lookAs(const Look& look) {
    wanted_ = look;
    // A change styles the whole window anew, and a page may report a thousand colours a second. A window that
    // is not shown has no frames; it looks as wanted when it comes.
    if (wanted_ == drawn_ || drawingSoon_ || !window_.get_mapped())
        return;
    drawingSoon_ = true;
    window_.add_tick_callback([this](const auto&) {
        drawingSoon_ = false;
        draw();
        return false;
    });
}

void MainWindow::draw() {
    const auto old = std::exchange(drawn_, wanted_);
    if (drawn_.appearance && drawn_.appearance != old.appearance) {
        const auto settings = Gtk::Settings::get_for_display(window_.get_display());
        const auto dark = drawn_.appearance == Appearance::dark;
        // The toolkit reads its whole theme again at every assignment.
        if (settings->property_gtk_application_prefer_dark_theme() != dark)
            settings->property_gtk_application_prefer_dark_theme() = dark;
    }
    if (drawn_.background && drawn_.background != old.background)
        style_->load_from_data(colorDefinitions(*drawn_.background));
}

void MainWindow::present() {
    window_.present();
}
