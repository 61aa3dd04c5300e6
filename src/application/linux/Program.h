#pragma once

#include "account/BriskoAPI.h"
#include "account/BrowserAuthentication.h"
#include "account/Remembered.h"
#include "account/linux/BrowserPanel.h"
#include "application/AppDelegate.h"
#include "application/Menus.h"
#include "application/linux/AboutWindow.h"
#include "application/linux/ActivationMonitor.h"
#include "application/linux/DemoService.h"
#include "application/linux/GtkPanels.h"
#include "application/linux/GtkScreens.h"
#include "application/linux/MainWindow.h"
#include "application/linux/MenuBar.h"
#include "application/linux/NotificationPanel.h"
#include "application/linux/Options.h"
#include "lock/AppLock.h"
#include "lock/LockShortcut.h"
#include "lock/Passcode.h"
#include "lock/linux/GtkEventMonitor.h"
#include "lock/linux/LogindSession.h"
#include "lock/linux/PolkitOwnerAuthentication.h"
#include "lock/linux/SecretServiceKeychain.h"
#include "platform/ScopedDefaults.h"
#include "platform/linux/GLibMainQueue.h"
#include "platform/linux/LauncherEntry.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/SystemBus.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/UserDownloadFolder.h"
#include "reminders/Notifications.h"
#include "reminders/Reminders.h"
#include "reminders/linux/AgentNotificationCenter.h"
#include "reminders/linux/SystemTimeZone.h"
#include "web/Downloads.h"

#include <gtkmm/application.h>

#include <memory>
#include <optional>

/// Everything that there is one of, made here once and handed down, in the order in which things need each
/// other.
///
/// The first half needs no window and is made before the application registers, so that a child process and,
/// for a session that is kept, the web engine's processes start beside that; `openWindow` makes the second
/// half.
class Program {
public:
    /// Throws Error when the program cannot start, the web engine included. The application has to outlive
    /// it.
    Program(const Options& options, const Profile& profile, Gtk::Application& application);
    ~Program();

    /// Makes the window and shows the first screen. Called once, when the toolkit has started.
    void openWindow(const Glib::RefPtr<Gtk::Application>& application);
    /// Makes the window and the first screen anew, as another start would find them.
    void startOver();
    void reopen();
    void open(const std::vector<std::string>& urls);

    AppDelegate& delegate() { return *front_->delegate; }
    MainWindow& mainWindow() { return front_->window; }
    AboutWindow& aboutWindow() { return front_->aboutWindow; }
    MenuBar& menuBar() { return front_->menuBar; }
    const Url& origin() const { return platform_.origin(); }
    /// The embedded service; null without --demo.
    DemoService* demo() { return demo_.get(); }
    BrowserPanel& browserPanel() { return panel_; }
    const ReminderPlace& reminderPlace() const { return center_.place(); }

private:
    static LinuxPlatform::Service chooseService(const Options& options, const Profile& profile,
                                                DemoService* demo);

    Glib::RefPtr<Gtk::Application> application_; ///< from openWindow on
    std::unique_ptr<DemoService> demo_;
    LinuxPlatform platform_;
    std::unique_ptr<Workspace> workspace_;
    BrowserPanel panel_;
    BrowserAuthentication authentication_;
    BriskoAPI api_;
    Remembered remembered_;
    SystemClock clock_;
    GLibMainQueue queue_;
    std::string passcodeScope_;
    ScopedDefaults passcodeDefaults_;
    SecretServiceKeychain keychain_;
    Passcode passcode_;
    std::optional<std::string> foreignHost_;
    LockShortcut lockShortcut_;
    Menus menus_;
    UserDownloadFolder downloadFolder_;
    LauncherEntry dock_;
    SystemBus systemBus_;
    PolkitOwnerAuthentication owner_;
    LogindSession desktop_;
    NotificationPanel question_;
    AgentNotificationCenter center_;
    Notifications notifications_;
    SystemTimeZone zone_;
    Reminders reminders_;

    /// What hangs on the window.
    struct Front {
        Front(Program& program, const Glib::RefPtr<Gtk::Application>& application);
        ~Front();

        MainWindow window;
        GtkPanels panels;
        std::shared_ptr<Downloads> downloads;
        AboutWindow aboutWindow;
        GtkScreens screens;
        GtkEventMonitor events;
        std::shared_ptr<AppLock> appLock;
        std::shared_ptr<AppDelegate> delegate;
        MenuBar menuBar;
        NotificationPanel& question;
        ActivationMonitor activation;
    };
    void makeFront();
    std::unique_ptr<Front> front_;
};
