#pragma once

#include "account/linux/AuthScreen.h"
#include "application/AppDelegate.h"
#include "platform/linux/LinuxPlatform.h"

/// Draws the delegate's screens with GTK and the web engine.
class GtkScreens : public ScreenFactory {
public:
    explicit GtkScreens(LinuxPlatform& platform) : platform_(platform) {}

    std::unique_ptr<Screen> authScreen(std::shared_ptr<AuthView> view) override;
    std::unique_ptr<Screen> passcodeScreen(std::shared_ptr<PasscodeView> view) override;
    std::unique_ptr<Screen> lockSettingsScreen(std::shared_ptr<LockSettingsView> view) override;
    std::unique_ptr<WebView> webView() override;

private:
    LinuxPlatform& platform_;
};
