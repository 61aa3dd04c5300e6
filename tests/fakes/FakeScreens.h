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
        auto screen = std::make_unique<NativeScreen<AuthView>>(*this, view, auth);
        view->appeared();
        return screen;
    }
    std::unique_ptr<Screen> passcodeScreen(std::shared_ptr<PasscodeView> view) override {
        auto screen = std::make_unique<NativeScreen<PasscodeView>>(*this, view, passcode);
        view->appeared();
        return screen;
    }
    std::unique_ptr<Screen> lockSettingsScreen(std::shared_ptr<LockSettingsView> view) override {
        return std::make_unique<NativeScreen<LockSettingsView>>(*this, std::move(view), lockSettings);
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

    /// A screen over a view, which is at hand as `latest` until it goes or another one comes.
    template <class View>
    class NativeScreen : public Screen {
    public:
        NativeScreen(FakeScreens& screens, std::shared_ptr<View> view, View*& latest)
            : view_(std::move(view)), latest_(latest), life_(screens, *this) {
            latest_ = view_.get();
        }
        ~NativeScreen() override {
            if (latest_ == view_.get())
                latest_ = nullptr;
        }

    private:
        std::shared_ptr<View> view_;
        View*& latest_;
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
