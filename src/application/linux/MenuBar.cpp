#include "application/linux/MenuBar.h"

#include "application/linux/Accelerator.h"
#include "application/linux/WindowStack.h"

#include <glibmm/main.h>

#include <algorithm>

namespace {

constexpr auto groupName = "menu";
constexpr auto windowsMenu = "Window"; // which lists the windows too
constexpr auto hasKeys = "brisko-menu-keys";

std::string plainName(MenuCommand command) {
    return "item" + std::to_string(static_cast<int>(command));
}

std::string actionName(MenuCommand command) {
    return std::string(groupName) + "." + plainName(command);
}

bool isDelegates(const MenuItem& item) {
    return item.target == MenuItem::Target::delegate;
}

/// For assistive technology, which otherwise hears the name of the widget's class.
void nameWidget(GtkWidget* widget, const char* name) {
    gtk_accessible_update_property(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_LABEL, name, -1);
}

/// The menus of a menu bar, in its order.
std::vector<GtkPopover*> popoversIn(GtkWidget* widget) {
    std::vector<GtkPopover*> result;
    for (auto* child = gtk_widget_get_first_child(widget); child;
         child = gtk_widget_get_next_sibling(child)) {
        if (GTK_IS_POPOVER(child))
            result.push_back(GTK_POPOVER(child));
        else
            for (auto* popover : popoversIn(child))
                result.push_back(popover);
    }
    return result;
}

} // namespace

MenuBar::MenuBar(MenuTarget& target, MainWindow& window, Gtk::Application& application)
    : target_(target),
      main_(window),
      window_(window.window()),
      application_(application),
      model_(Gio::Menu::create()),
      actions_(Gio::SimpleActionGroup::create()),
      bar_(model_),
      windows_(application),
      edit_(window, GTK_WIDGET(bar_.gobj())),
      keys_(actionName),
      late_(window) {
    build();
    actions_->add_action(windows_.action());
    nameWidget(GTK_WIDGET(bar_.gobj()), "Menu bar");
    main_.setMenuBar(bar_);
    window_.insert_action_group(groupName, actions_);
    keys_.attachTo(window_);
    addQuitKey();
    watchMenus();
    watchWindow();
    followWindows();
    target_.onMenusChanged = [this] { refresh(); };
    edit_.onChanged = [this] { refreshWindowItems(); };
    main_.onSheetChanged = [this] { sheetChanged(); };
    refresh();
}

MenuBar::~MenuBar() {
    target_.onMenusChanged = nullptr;
    main_.onSheetChanged = nullptr;
    closing_.disconnect();
    for (auto& state : states_)
        state.disconnect();
    window_.remove_action_group(groupName);
    for (const auto& other : WindowStack::all())
        gtk_widget_insert_action_group(GTK_WIDGET(other.get()), groupName, nullptr);
    main_.removeMenuBar(bar_);
}

void MenuBar::openMenu(std::size_t menu) {
    auto* const popover = GTK_WIDGET(popoversIn(GTK_WIDGET(bar_.gobj())).at(menu));
    gtk_widget_activate(gtk_widget_get_parent(popover));
}

void MenuBar::closeMenus() {
    for (auto* popover : popoversIn(GTK_WIDGET(bar_.gobj())))
        gtk_popover_popdown(popover);
}

void MenuBar::build() {
    for (const auto& menu : target_.menus().menus()) {
        const auto submenu = Gio::Menu::create();
        for (const auto& items : menu.sections) {
            const auto section = Gio::Menu::create();
            for (const auto& item : items) {
                section->append("");
                draw(lines_.emplace_back(makeLine(item, section)));
            }
            submenu->append_section(section);
        }
        if (menu.title == windowsMenu)
            submenu->append_section(windows_.list());
        model_->append_submenu(menu.title, submenu);
    }
}

MenuBar::Line MenuBar::makeLine(const MenuItem& item, const Glib::RefPtr<Gio::Menu>& section) {
    const auto action = Gio::SimpleAction::create(plainName(item.command));
    action->signal_activate().connect([this, &item](const auto&) { choose(item); });
    actions_->add_action(action);
    return {&item, section, section->get_n_items() - 1, action, lookOf(item)};
}

/// The application's, so that it works in windows that have no menus too.
void MenuBar::addQuitKey() {
    application_.add_action("quit", [this] { application_.quit(); });
    const auto& key = target_.menus().item(MenuCommand::terminate).keyEquivalent;
    if (const auto accelerator = key ? Accelerator::of(*key) : std::nullopt)
        application_.set_accel_for_action("app.quit", accelerator->name());
}

void MenuBar::watchMenus() {
    const auto closed = +[](GtkPopover*, gpointer self) { static_cast<MenuBar*>(self)->leaveSoon(); };
    // The toolkit gives the keyboard to the title above a menu that has closed, now at once, now a frame
    // later.
    const auto moved = +[](GtkWindow* window, GParamSpec*, gpointer data) {
        auto* const self = static_cast<MenuBar*>(data);
        auto* const focused = gtk_window_get_focus(window);
        if (focused && gtk_widget_is_ancestor(focused, GTK_WIDGET(self->bar_.gobj())))
            self->leaveSoon();
    };
    menus_.emplace_back(window_.gobj(),
                        g_signal_connect(window_.gobj(), "notify::focus-widget", G_CALLBACK(moved), this));
    menus_.push_back(late_.guard(GTK_WIDGET(window_.gobj())));
    const auto popovers = popoversIn(GTK_WIDGET(bar_.gobj()));
    for (std::size_t i = 0; i < popovers.size(); ++i) {
        auto* const popover = popovers[i];
        nameWidget(GTK_WIDGET(popover), target_.menus().menus()[i].title.c_str());
        menus_.emplace_back(popover, g_signal_connect(popover, "closed", G_CALLBACK(closed), this));
        menus_.push_back(late_.guard(GTK_WIDGET(popover)));
        // Where one item can be chosen, an arrow key would give the keyboard to what scrolls the menu.
        gtk_widget_set_focusable(gtk_popover_get_child(popover), FALSE);
    }
}

void MenuBar::leaveSoon() {
    // One menu closes before the next one opens.
    closing_.disconnect();
    closing_ = Glib::signal_idle().connect([this] {
        const auto popovers = popoversIn(GTK_WIDGET(bar_.gobj()));
        if (std::none_of(popovers.begin(), popovers.end(),
                         [](auto* popover) { return gtk_widget_get_visible(GTK_WIDGET(popover)); }))
            edit_.restoreFocus();
        return false;
    });
}

void MenuBar::watchWindow() {
    states_ = {window_.property_fullscreened().signal_changed().connect([this] { refreshWindowItems(); }),
               window_.property_maximized().signal_changed().connect([this] { refreshWindowItems(); })};
    const auto changed = +[](GListModel*, guint, guint, guint, MenuBar* self) { self->followWindows(); };
    auto* const list = gtk_window_get_toplevels();
    list_ = SignalConnection(list, g_signal_connect(list, "items-changed", G_CALLBACK(changed), this));
}

void MenuBar::followWindows() {
    for (const auto& other : WindowStack::all()) {
        if (other.get() == GTK_WINDOW(window_.gobj()) || g_object_get_data(G_OBJECT(other.get()), hasKeys))
            continue;
        g_object_set_data(G_OBJECT(other.get()), hasKeys, this);
        gtk_widget_insert_action_group(GTK_WIDGET(other.get()), groupName, G_ACTION_GROUP(actions_->gobj()));
        keys_.attachToOther(other.get());
    }
}

void MenuBar::refresh() {
    keys_.set(target_.menus());
    for (auto& line : lines_)
        if (isDelegates(*line.item))
            line.action->set_enabled(isEnabled(*line.item));
    refreshWindowItems();
}

void MenuBar::refreshWindowItems() {
    for (auto& line : lines_) {
        if (!isDelegates(*line.item))
            line.action->set_enabled(isEnabled(*line.item));
        if (auto look = lookOf(*line.item); look != line.look) {
            line.look = std::move(look);
            draw(line);
        }
    }
}

/// The toolkit's items do not change: one that is to look different is replaced.
void MenuBar::draw(Line& line) {
    const auto replacement = Gio::MenuItem::create(line.look.title, actionName(line.item->command));
    if (!line.look.accelerator.empty())
        replacement->set_attribute_value("accel",
                                         Glib::Variant<Glib::ustring>::create(line.look.accelerator));
    line.section->remove(line.index);
    line.section->insert_item(line.index, replacement);
}

MenuBar::Look MenuBar::lookOf(const MenuItem& item) const {
    const auto accelerator = item.keyEquivalent ? Accelerator::of(*item.keyEquivalent) : std::nullopt;
    const auto leaves = item.command == MenuCommand::toggleFullScreen && window_.is_fullscreen();
    return {leaves ? "Exit Full Screen" : item.title, accelerator ? accelerator->name() : std::string()};
}

bool MenuBar::isEnabled(const MenuItem& item) const {
    if (isDelegates(item))
        return target_.validate(item);
    if (const auto editing = EditTarget::commandOf(item.command))
        return edit_.canPerform(*editing);
    switch (item.command) {
    case MenuCommand::performClose:
        // What is in the sheet says how it ends.
        return !main_.hasVisibleSheet();
    case MenuCommand::performZoom:
        return !window_.is_fullscreen();
    case MenuCommand::hideOtherApplications:
    case MenuCommand::unhideAllApplications:
        return windows_.canShowAll();
    default:
        return true;
    }
}

void MenuBar::sheetChanged() {
    edit_.followSheet();
    auto* const sheet = main_.sheetWindow();
    if (!sheet)
        return;
    sheet->insert_action_group(groupName, actions_);
    keys_.attachTo(*sheet);
    sheet_ = late_.guard(GTK_WIDGET(sheet->gobj()));
}

void MenuBar::choose(const MenuItem& item) {
    edit_.restoreFocus();
    if (isDelegates(item))
        target_.perform(item.command);
    else if (const auto editing = EditTarget::commandOf(item.command))
        edit_.perform(*editing);
    else
        performInWindow(item.command);
}

void MenuBar::performInWindow(MenuCommand command) {
    switch (command) {
    case MenuCommand::hide:
        windows_.hide();
        break;
    case MenuCommand::hideOtherApplications:
        windows_.hideOthers();
        break;
    case MenuCommand::unhideAllApplications:
        windows_.showAll();
        break;
    case MenuCommand::arrangeInFront:
        windows_.bringToFront();
        break;
    case MenuCommand::terminate:
        application_.quit();
        break;
    case MenuCommand::performClose:
        window_.close();
        break;
    case MenuCommand::performMiniaturize:
        window_.minimize();
        break;
    case MenuCommand::performZoom:
        if (window_.is_maximized())
            window_.unmaximize();
        else
            window_.maximize();
        break;
    case MenuCommand::toggleFullScreen:
        if (window_.is_fullscreen())
            window_.unfullscreen();
        else
            window_.fullscreen();
        break;
    default:
        break;
    }
}
