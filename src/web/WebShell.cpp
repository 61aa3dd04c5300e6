#include "web/WebShell.h"

#include "platform/Json.h"
#include "web/NavigationPolicy.h"

WebShell::WebShell(const BriskoAPI& api, std::unique_ptr<WebView> view, Workspace& workspace)
    : origin_(api.origin()), view_(std::move(view)), workspace_(workspace) {
    view_->decidePolicy = [this](const NavigationAction& action) { return decide(action); };
    view_->onNewWindow = [this](const std::string& url) {
        if (const auto target = NavigationDecision::address(url); target && !target->scheme().empty())
            workspace_.open(*target);
    };
    view_->setUnderPageBackground(Chrome::canvas);
}

WebShell::~WebShell() = default;

void WebShell::load(const std::optional<std::string>& path) {
    view_->load(path ? origin_.resolve(*path).value_or(origin_) : origin_);
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
        return NavigationPolicy::allow;
    case Verdict::download:
        return NavigationPolicy::download;
    case Verdict::signedOut:
        if (onSignedOut)
            onSignedOut();
        return NavigationPolicy::cancel;
    case Verdict::openInBrowser:
        workspace_.open(*NavigationDecision::address(action.url));
        return NavigationPolicy::cancel;
    }
    return NavigationPolicy::allow;
}
