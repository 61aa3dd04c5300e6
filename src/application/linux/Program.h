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
#include "platform/linux/LinuxPlatform.h"

#include <gtkmm/application.h>

#include <memory>
#include <optional>

/// Everything that there is one of, made here once and handed down, in the order in which things need each other.
///
/// The first half needs no display and is made before the toolkit starts, so that a child process and the web engine
/// start beside it; `openWindow` makes the second half.
class Program {
public:
    /// Throws Error when the program cannot start. The application has to outlive it.
    Program(const Options& options, const Profile& profile, Gtk::Application& application);
    ~Program();

    /// Makes the window and shows the first screen. Called once, when the toolkit has started.
    void openWindow(const Glib::RefPtr<Gtk::Application>& application);
    void reopen();
    void open(const std::vector<std::string>& urls);

    MainWindow& mainWindow() { return *window_; }
    /// The embedded service; null without --demo.
    DemoService* demo() { return demo_.get(); }
    BrowserPanel& browserPanel() { return panel_; }

private:
    static LinuxPlatform::Service chooseService(const Options& options, const Profile& profile, DemoService* demo);

    std::unique_ptr<DemoService> demo_;
    LinuxPlatform platform_;
    std::unique_ptr<Workspace> workspace_;
    BrowserPanel panel_;
    BrowserAuthentication authentication_;
    BriskoAPI api_;
    Remembered remembered_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<GtkScreens> screens_;
    std::shared_ptr<AppDelegate> delegate_;
};
