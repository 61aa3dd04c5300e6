#include "web/WebShell.h"

#include "platform/Json.h"
#include "web/NavigationPolicy.h"
#include "web/OfflinePage.h"
#include "web/Scripts.h"

namespace {

/// Under which a page's message is shown.
constexpr const char* panelTitle = "brisko";

/// Between two addresses that a page opens without being asked to.
constexpr std::chrono::seconds patience(5);

/// As pages write it: without the port that goes without saying.
std::string webOrigin(const Url& origin) {
    constexpr int https = 443;
    auto text = origin.origin();
    if (origin.port() == https)
        text.erase(text.rfind(':'));
    return text;
}

} // namespace

WebShell::WebShell(const Surroundings& surroundings, std::unique_ptr<WebView> view)
    : with_(surroundings),
      origin_(surroundings.api.origin()),
      bridge_(surroundings.bridge),
      session_(
          SessionWatch::make(surroundings.webData, *origin_.host(), surroundings.queue, surroundings.clock)),
      renewals_(
          CookieObserver::make(surroundings.webData,
                               [&api = surroundings.api](const auto& cookies) { api.keepRenewed(cookies); })),
      view_(std::move(view)) {
    const auto own = webOrigin(origin_);
    view_->addUserScript({Scripts::page(own, token_.text()), UserScript::Time::documentStart, origin_});
    view_->addUserScript({Scripts::chrome(own, token_.text()), UserScript::Time::documentEnd, origin_});
    view_->addReplyingMessageHandler(
        Bridge::handlerName, [this](const Json& message) { return bridge_.call(token_.bodyOf(message)); });
    view_->addMessageHandler(ChromeReporter::handlerName,
                             [this](const Json& message) { chrome_.receive(token_.bodyOf(message)); });
    chrome_.onReport = [this](const ChromeReporter::Report& report) { reported(report); };
    session_->onGone = [this] { signedOut(); };
    connectNavigation();
    connectPanels();
    view_->onDownload = [this](std::shared_ptr<Download> download) {
        with_.downloads.take(std::move(download));
    };
    view_->setUnderPageBackground(Chrome::canvas);
}

WebShell::~WebShell() = default;

void WebShell::connectNavigation() {
    view_->decidePolicy = [this](const NavigationAction& action) { return decide(action); };
    view_->decideResponse = [](bool showable) {
        return showable ? NavigationPolicy::allow : NavigationPolicy::download;
    };
    view_->onNewWindow = [this](const NavigationAction& action) {
        if (leaveToOthers(action))
            return;
        const auto target = NavigationDecision::address(action.url);
        if (target && (target->scheme() == "https" || target->scheme() == "http"))
            openInBrowser(*target, action);
    };
    view_->onFailed = [this](const LoadFailure& failure) {
        if (!failure.cancelled)
            showOfflinePage(failure.url);
    };
    view_->onArrived = [this] { arrived_ = true; };
    view_->onProcessEnded = [this](const std::string& url) { processEnded(url); };
}

void WebShell::connectPanels() {
    view_->onAlert = [this](const std::string& message, std::function<void()> closed) {
        return with_.panels.alert(panelTitle, message, std::move(closed));
    };
    view_->onConfirm = [this](const std::string& message, std::function<void(bool)> answered) {
        return with_.panels.confirm(panelTitle, message, std::move(answered));
    };
    view_->onPrompt = [this](const std::string& message, const std::string& suggestion, auto answered) {
        return with_.panels.prompt(panelTitle, message, suggestion, std::move(answered));
    };
    view_->onPrint = [this](std::shared_ptr<PrintJob> job, std::function<void()> closed) {
        job->onFailed = [message = std::weak_ptr(message_), &panels = with_.panels](const Error& failure) {
            if (const auto shown = message.lock())
                *shown = panels.alert("The page could not be printed", failure.what(), [] {});
        };
        return with_.panels.print(std::move(job), std::move(closed));
    };
    view_->onChooseFiles = [this](const Panels::FileChoice& choice, auto chosen) {
        return with_.panels.chooseFiles(choice, std::move(chosen));
    };
}

void WebShell::load(const std::optional<std::string>& path) {
    asked_ = path;
    askedAt_ = with_.clock.now();
    view_->load(path ? origin_.resolve(*path).value_or(origin_) : origin_, loadTimeout);
}

void WebShell::go(const std::string& path) {
    if (view_->isWaitingForAnswer() || !arrived_) {
        load(path);
        return;
    }
    asked_ = path;
    askedAt_ = with_.clock.now();
    view_->evaluate("window.location.href = " + literal(path));
}

std::optional<std::string> WebShell::unanswered() const {
    return with_.clock.now() < askedAt_ + loadTimeout ? asked_ : std::nullopt;
}

void WebShell::run(MenuAction action) {
    const auto own = shortcuts_.find(std::string(MenuActions::rawValue(action)));
    const auto combo = own != shortcuts_.end() ? own->second : std::string(MenuActions::defaultCombo(action));
    view_->evaluate("window.__brisko && window.__brisko.run(" + literal(combo) + ")");
}

std::string WebShell::literal(const std::string& text) {
    try {
        return Json(text).dump();
    } catch (const Json::exception&) {
        return "\"\"";
    }
}

NavigationPolicy WebShell::decide(const NavigationAction& action) {
    using NavigationDecision::Verdict;
    switch (NavigationDecision::decide(action, *origin_.host())) {
    case Verdict::allow:
        return leaveToOthers(action) ? NavigationPolicy::cancel : NavigationPolicy::allow;
    case Verdict::download:
        return NavigationPolicy::download;
    case Verdict::signedOut:
        signedOut();
        return NavigationPolicy::cancel;
    case Verdict::openInBrowser:
        openInBrowser(*NavigationDecision::address(action.url), action);
        return NavigationPolicy::cancel;
    }
    return NavigationPolicy::allow;
}

/// Whether it is none of the engine's business. A page that goes there by itself leads nowhere.
bool WebShell::leaveToOthers(const NavigationAction& action) {
    using NavigationDecision::Handler;
    const auto url = NavigationDecision::address(action.url);
    const auto handler = url ? NavigationDecision::handler(*url) : Handler::engine;
    if (handler == Handler::engine)
        return false;
    if (action.isUsersGesture && handler == Handler::desktop)
        openOnDesktop(*url);
    else if (const auto tell = onOwnLink; action.isUsersGesture && tell)
        tell(action.url);
    return true;
}

/// A page may send a person elsewhere by itself, though not to many places at once, nor unseen.
void WebShell::openInBrowser(const Url& url, const NavigationAction& action) {
    if (!action.isUsersGesture) {
        const auto now = with_.clock.now();
        const auto isTooSoon = sentElsewhere_ && *sentElsewhere_ <= now && now - *sentElsewhere_ < patience;
        if (isTooSoon || (isOutOfSight && isOutOfSight()))
            return;
        sentElsewhere_ = now;
    }
    with_.workspace.open(url);
}

void WebShell::openOnDesktop(const Url& url) {
    const auto text = "No program on this machine opens " + url.scheme() + ": links.";
    with_.workspace.open(url,
                         [text, message = std::weak_ptr(message_), &panels = with_.panels](const Error&) {
                             if (const auto shown = message.lock())
                                 *shown = panels.alert(panelTitle, text, [] {});
                         });
}

void WebShell::reported(const ChromeReporter::Report& report) {
    if (report.shortcuts && !report.shortcuts->empty()) {
        asked_.reset();
        shortcuts_ = *report.shortcuts;
        if (onShortcuts)
            onShortcuts(shortcuts_);
    }
    if (report.background) {
        view_->setUnderPageBackground(*report.background);
        if (onBackground)
            onBackground(*report.background);
    }
}

void WebShell::processEnded(const std::string& url) {
    arrived_ = false;
    const auto last = NavigationDecision::address(url);
    const auto& address = last && !last->scheme().empty() ? *last : origin_;
    if (reloads_.admit(with_.clock.now()))
        view_->load(address, loadTimeout);
    else if (offlinePages_.admit(with_.clock.now()))
        showOfflinePage(address.text());
    else
        *message_ = with_.panels.alert(panelTitle,
                                       "The page keeps ending by itself. Choose Reload in the menu View to "
                                       "try again.",
                                       [] {});
}

void WebShell::showOfflinePage(const std::string& failedUrl) {
    // Under the origin's own address an engine takes the page for the one at that address, and going back to
    // it for going there; the failed address is of the same origin, and is what has to be tried again.
    const auto failed = NavigationDecision::address(failedUrl);
    const auto& base = failed && failed->origin() == origin_.origin() ? *failed : origin_;
    view_->loadAlternate(OfflinePage::html(origin_), failedUrl, base);
}

void WebShell::signedOut() {
    // The one who is told may let this object go.
    if (const auto tell = onSignedOut)
        tell();
}
