#pragma once

#include "account/BriskoAPI.h"
#include "platform/WebView.h"
#include "platform/Workspace.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

/// Hosts the service's web application: loads it, keeps its navigations where they belong, and says when the
/// page has lost its session. Each time the window switches to the web application gets a shell of its own.
class WebShell {
public:
    WebShell(const BriskoAPI& api, std::unique_ptr<WebView> view, Workspace& workspace);
    ~WebShell();

    WebView& webView() { return *view_; }

    /// The page went to the service's sign-in page. Called while the engine waits for an answer.
    std::function<void()> onSignedOut;

    /// Loads a page of the service: `path` resolved against the origin, the origin itself without one or when
    /// it is not a path.
    void load(const std::optional<std::string>& path);

    /// The text as a script's string literal, quotes included; an empty literal for a text that is not UTF-8.
    static std::string literal(const std::string& text);

private:
    NavigationPolicy decide(const NavigationAction& action);

    Url origin_;
    std::unique_ptr<WebView> view_;
    Workspace& workspace_;
};
