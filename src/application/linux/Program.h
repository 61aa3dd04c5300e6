#pragma once

#include "account/BriskoAPI.h"
#include "account/BrowserAuthentication.h"
#include "account/Remembered.h"
#include "account/linux/BrowserPanel.h"
#include "application/AppDelegate.h"
#include "application/linux/DemoService.h"
#include "application/linux/GtkScreens.h"
#include "application/linux/MainWindow.h"
#include "application/linux/Options.h"
#include "lock/Passcode.h"
#include "lock/linux/SecretServiceKeychain.h"
#include "platform/linux/GLibMainQueue.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/SystemClock.h"

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

    AppDelegate& delegate() { return *delegate_; }
    MainWindow& mainWindow() { return *window_; }
    /// The embedded service; null without --demo.
    DemoService* demo() { return demo_.get(); }
    BrowserPanel& browserPanel() { return panel_; }

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
    SecretServiceKeychain keychain_;
    Passcode passcode_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<GtkScreens> screens_;
    std::shared_ptr<AppDelegate> delegate_;
};
