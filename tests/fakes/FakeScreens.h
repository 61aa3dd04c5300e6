#pragma once

#include "application/AppDelegate.h"
#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

#include <map>

/// Screens that can be named in words. The latest view of each kind is at hand as long as it lives.
class FakeScreens : public ScreenFactory {
public:
    using Words = std::function<std::string()>;

    explicit FakeScreens(const FakeWindow& window) : window_(window) {}

    std::map<const Screen*, Words> alive;
    int made = 0;
    std::weak_ptr<AuthView> auth;
    std::weak_ptr<PasscodeView> passcode;
    std::weak_ptr<LockSettingsView> lockSettings;
    FakeWebView* web = nullptr;

    std::unique_ptr<Screen> authScreen(std::shared_ptr<AuthView> view) override {
        auth = view;
        view->appeared();
        return std::make_unique<Made<Screen>>(
            *this, [view] { return "sign-in '" + view->state().identifier + "'"; });
    }
    std::unique_ptr<Screen> passcodeScreen(std::shared_ptr<PasscodeView> view) override {
        constexpr const char* modes[] = {"unlock", "relock", "set-up", "change"};
        constexpr const char* steps[] = {"code", "password", "choose", "confirm"};
        passcode = view;
        view->appeared();
        return std::make_unique<Made<Screen>>(*this, [view] {
            const auto& state = view->state();
            return std::string(modes[view->mode().index()]) + "/" + steps[static_cast<int>(state.step)] +
                   (state.owner.empty() ? "" : " of " + state.owner);
        });
    }
    std::unique_ptr<Screen> lockSettingsScreen(std::shared_ptr<LockSettingsView> view) override {
        lockSettings = view;
        return std::make_unique<Made<Screen>>(
            *this, [view] { return view->canChange() ? "settings" : "settings of nobody"; });
    }
    std::unique_ptr<WebView> webView() override {
        auto view = std::make_unique<Made<FakeWebView>>(*this, [] { return "page"; });
        web = view.get();
        return view;
    }

private:
    template <class Base>
    struct Made : Base {
        Made(FakeScreens& factory, Words words) : screens(factory) {
            screens.made += 1;
            screens.alive[this] = std::move(words);
        }
        ~Made() override {
            const auto& window = screens.window_;
            EXPECT_TRUE(window.content != this && window.sheet != this && window.overlay != this)
                << "the window draws what has gone";
            if (screens.web == static_cast<Screen*>(this))
                screens.web = nullptr;
            screens.alive.erase(this);
        }
        FakeScreens& screens;
    };
    const FakeWindow& window_;
};
