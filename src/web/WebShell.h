#pragma once

#include "account/BriskoAPI.h"
#include "platform/Clock.h"
#include "platform/MainQueue.h"
#include "platform/WebDataStore.h"
#include "platform/WebView.h"
#include "platform/Workspace.h"
#include "web/Bridge.h"
#include "web/ChromeReporter.h"
#include "web/Downloads.h"
#include "web/MenuAction.h"
#include "web/PageToken.h"
#include "web/ReloadLimit.h"
#include "web/SessionWatch.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

/// Hosts the service's web application: loads it, keeps its navigations where they belong, shows its panels,
/// saves its downloads, presses its shortcuts, follows its colour, and says when it has lost its session.
/// Each time the window switches to the web application gets a shell of its own.
class WebShell {
public:
    /// What a shell works with; all of it outlives the shell.
    struct Surroundings {
        const BriskoAPI& api;
        WebDataStore& webData;
        Workspace& workspace;
        Panels& panels;
        Downloads& downloads;
        MainQueue& queue;
        const Clock& clock;
        Bridge::Surroundings bridge;
    };

    /// How long a load may bring nothing before it has failed.
    static constexpr std::chrono::seconds loadTimeout{60};

    WebShell(const Surroundings& surroundings, std::unique_ptr<WebView> view);
    ~WebShell();

    WebView& webView() { return *view_; }
    /// What answers the page's calls.
    Bridge& bridge() { return bridge_; }

    /// The page has reported the colour behind its content.
    std::function<void(Color)> onBackground;
    /// The page has reported the account's key bindings, at least one of them.
    std::function<void(const Shortcuts&)> onShortcuts;
    /// The page has lost its session: it went to the service's sign-in page (the engine waits for an answer
    /// meanwhile), or the session cookie has gone.
    std::function<void()> onSignedOut;
    /// A person followed one of brisko's own links in the page. The one who is told may let this object go.
    std::function<void(const std::string& url)> onOwnLink;

    /// Whether nobody can see the page: the window is locked or covered.
    std::function<bool()> isOutOfSight;

    /// Loads a page of the service: `path` resolved against the origin, the origin itself without one or when
    /// it is not a path.
    void load(const std::optional<std::string>& path);
    /// Sends the page that is shown to a path of the service; one that is still to come is not waited for.
    void go(const std::string& path);
    /// The path that was asked for last, while no page has shown since that it has a session: within the time
    /// of a load.
    std::optional<std::string> unanswered() const;
    /// Presses the page's shortcut for the action: the account's own, or the default one until that is known.
    void run(MenuAction action);

    /// The text as a script's string literal, quotes included; an empty literal for a text that is not UTF-8.
    static std::string literal(const std::string& text);

private:
    void connectNavigation();
    void connectPanels();
    NavigationPolicy decide(const NavigationAction& action);
    bool leaveToOthers(const NavigationAction& action);
    void openInBrowser(const Url& url, const NavigationAction& action);
    void openOnDesktop(const Url& url);
    void reported(const ChromeReporter::Report& report);
    void processEnded(const std::string& url);
    void showOfflinePage(const std::string& failedUrl);
    void signedOut();

    Surroundings with_;
    Url origin_;
    PageToken token_;
    Bridge bridge_;
    ChromeReporter chrome_;
    std::shared_ptr<SessionWatch> session_;
    std::shared_ptr<CookieObserver> renewals_;
    Shortcuts shortcuts_; ///< as the page last reported them
    ReloadLimit reloads_;
    ReloadLimit offlinePages_; ///< after which the engine cannot show even that
    bool arrived_ = false;     ///< there is a page that runs scripts
    std::optional<std::string> asked_;
    Clock::time_point askedAt_;
    std::optional<Clock::time_point> sentElsewhere_; ///< by the page itself
    /// What has gone wrong, a link that nobody opens for one; shared with whoever is still to find that out.
    std::shared_ptr<Panels::Handle> message_ = std::make_shared<Panels::Handle>();
    std::unique_ptr<WebView> view_;
};
