#include "application/linux/GtkScreens.h"

#include "lock/linux/LockSettingsScreen.h"
#include "lock/linux/PasscodeScreen.h"

std::unique_ptr<Screen> GtkScreens::authScreen(std::shared_ptr<AuthView> view) {
    return std::make_unique<AuthScreen>(std::move(view));
}

std::unique_ptr<Screen> GtkScreens::passcodeScreen(std::shared_ptr<PasscodeView> view) {
    return std::make_unique<PasscodeScreen>(std::move(view));
}

std::unique_ptr<Screen> GtkScreens::lockSettingsScreen(std::shared_ptr<LockSettingsView> view) {
    return std::make_unique<LockSettingsScreen>(std::move(view));
}

std::unique_ptr<WebView> GtkScreens::webView() {
    return platform_.webEngine().makeView();
}
