#pragma once

#include "application/AppDelegate.h"
#include "fakes/FakePlatform.h"

#include <memory>
#include <utility>

/// Screens that note what becomes of them. The latest of each kind is at hand as long as it lives.
class FakeScreens : public ScreenFactory {
public:
    explicit FakeScreens(const FakeWindow& window) : window_(window) {}

    AuthView* auth = nullptr;
    PasscodeView* passcode = nullptr;
    LockSettingsView* lockSettings = nullptr;
    FakeWebView* web = nullptr;
    int made = 0;
    int alive = 0;
    int destroyedInWindow = 0; ///< a window draws what it was given, so this must not happen

    std::unique_ptr<Screen> authScreen(std::shared_ptr<AuthView> view) override {
        auth = view.get();
        return std::make_unique<AuthScreen>(*this, std::move(view));
    }
    std::unique_ptr<Screen> passcodeScreen(std::shared_ptr<PasscodeView> view) override {
        passcode = view.get();
        return std::make_unique<PasscodeScreen>(*this, std::move(view));
    }
    std::unique_ptr<Screen> lockSettingsScreen(std::shared_ptr<LockSettingsView> view) override {
        lockSettings = view.get();
        return std::make_unique<LockSettingsScreen>(*this, std::move(view));
    }
    std::unique_ptr<WebView> webView() override {
        auto view = std::make_unique<Web>(*this);
        web = view.get();
        return view;
    }

private:
    /// Lives and dies with its screen.
    class Life {
    public:
        Life(FakeScreens& screens, const Screen& screen) : screens_(screens), screen_(screen) {
            screens_.made += 1;
            screens_.alive += 1;
        }
        Life(const Life&) = delete;
        Life& operator=(const Life&) = delete;
        ~Life() {
            screens_.alive -= 1;
            const auto& window = screens_.window_;
            const auto shown =
                window.content == &screen_ || window.sheet == &screen_ || window.overlay == &screen_;
            screens_.destroyedInWindow += shown ? 1 : 0;
        }

    private:
        FakeScreens& screens_;
        const Screen& screen_;
    };

    class AuthScreen : public Screen {
    public:
        AuthScreen(FakeScreens& screens, std::shared_ptr<AuthView> view)
            : screens_(screens), view_(std::move(view)), life_(screens, *this) {
            view_->appeared();
        }
        ~AuthScreen() override {
            if (screens_.auth == view_.get())
                screens_.auth = nullptr;
        }

    private:
        FakeScreens& screens_;
        std::shared_ptr<AuthView> view_;
        Life life_;
    };

    class PasscodeScreen : public Screen {
    public:
        PasscodeScreen(FakeScreens& screens, std::shared_ptr<PasscodeView> view)
            : screens_(screens), view_(std::move(view)), life_(screens, *this) {
            view_->appeared();
        }
        ~PasscodeScreen() override {
            if (screens_.passcode == view_.get())
                screens_.passcode = nullptr;
        }

    private:
        FakeScreens& screens_;
        std::shared_ptr<PasscodeView> view_;
        Life life_;
    };

    class LockSettingsScreen : public Screen {
    public:
        LockSettingsScreen(FakeScreens& screens, std::shared_ptr<LockSettingsView> view)
            : screens_(screens), view_(std::move(view)), life_(screens, *this) {}
        ~LockSettingsScreen() override {
            if (screens_.lockSettings == view_.get())
                screens_.lockSettings = nullptr;
        }

    private:
        FakeScreens& screens_;
        std::shared_ptr<LockSettingsView> view_;
        Life life_;
    };

    class Web : public FakeWebView {
    public:
        explicit Web(FakeScreens& screens) : screens_(screens), life_(screens, *this) {}
        ~Web() override {
            if (screens_.web == this)
                screens_.web = nullptr;
        }

    private:
        FakeScreens& screens_;
        Life life_;
    };

    const FakeWindow& window_;
};
