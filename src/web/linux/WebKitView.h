#pragma once

#include "platform/linux/GPtr.h"
#include "web/linux/WebEngine.h"

#include <webkit/webkit.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

class WebKitTrust;
class WebKitView;

/// The views of one engine that exist. A view enters and leaves it by itself.
using WebKitViews = std::vector<WebKitView*>;

/// The web view over WebKitGTK.
///
/// The view's widget is a container that the window may keep for as long as it likes; what shows the page
/// leaves it when this object goes. Links and scripts that want a window of their own are reported and get
/// none.
class WebKitView : public GtkWebView {
public:
    WebKitView(WebKitNetworkSession* session, std::shared_ptr<WebKitTrust> trust,
               std::shared_ptr<WebKitViews> siblings, GPtr<WebKitSettings> settings);
    ~WebKitView() override;

    GtkWidget* widget() override { return GTK_WIDGET(container_.get()); }
    void load(const Url& url) override;
    void evaluate(const std::string& script) override;
    Task<std::optional<Json>> evaluateForResult(std::string body) override;
    void setUnderPageBackground(Color color) override;

    /// Starts the web process ahead of the first load.
    void prepare();

    using Departure = std::shared_ptr<Completion<Done>>;
    /// Puts an empty page in the place of the present one, whatever that would like to say to it. The result
    /// is settled once the page is gone: at the latest after a short limit, when the page's process is ended,
    /// or with this object.
    Departure leavePage();

private:
    struct Failure {
        Failure(std::string failedUri, Error why) : uri(std::move(failedUri)), error(std::move(why)) {}

        std::string uri;
        Error error;
    };

    void connectSignals();
    void connect(const char* signal, GCallback handler);

    bool decide(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type);
    void decideNavigation(WebKitPolicyDecision* decision, const std::string& uri);
    void requestWindow(WebKitNavigationAction* action);
    void loadChanged(WebKitLoadEvent event);
    void committed();
    void finished();
    bool loadFailed(const char* uri, const GError* error);
    bool certificateRefused(const char* uri, GTlsCertificate* certificate);
    bool retry(const char* uri);
    bool answerDialog(WebKitScriptDialog* dialog);
    void left();

    GPtr<WebKitWebView> view_;
    GPtr<GtkOverlay> container_;
    std::shared_ptr<WebKitTrust> trust_;
    std::shared_ptr<WebKitViews> siblings_;
    bool abandoned_ = false; ///< the end that the engine reports next is that of a load that came to nothing
    std::optional<Failure> failure_; ///< not told yet: the engine's page about it is coming
    int retriesLeft_ = 0;
    std::vector<Departure> departures_;
    guint departureLimit_ = 0; ///< the timeout of the departures
    std::vector<SignalConnection> connections_;
};
