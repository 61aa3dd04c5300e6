#pragma once

#include "platform/linux/GPtr.h"
#include "platform/linux/OneShotTimer.h"
#include "web/linux/WebEngine.h"
#include "web/linux/WebKitMessages.h"
#include "web/linux/WebKitPanels.h"

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
///
/// A load of ours gets its way: a page that is being replaced is not asked whether it wants to go, and one
/// that keeps asking the person for something, or never answers at all, ends with its process. It has a
/// limit; where the page goes by itself takes as long as it takes.
class WebKitView : public GtkWebView {
public:
    WebKitView(WebKitNetworkSession* session, std::shared_ptr<WebKitTrust> trust,
               std::shared_ptr<WebKitViews> siblings, GPtr<WebKitSettings> settings);
    ~WebKitView() override;

    GtkWidget* widget() override { return GTK_WIDGET(container_.get()); }
    void addUserScript(const UserScript& script) override { messages_.addUserScript(script); }
    void addMessageHandler(const std::string& name, std::function<void(const Json&)> handler) override {
        messages_.addHandler(name, std::move(handler));
    }
    void addReplyingMessageHandler(const std::string& name,
                                   std::function<Task<Json>(Json)> handler) override {
        messages_.addReplyingHandler(name, std::move(handler));
    }
    void load(const Url& url, std::chrono::seconds timeout) override;
    void reload() override;
    void loadAlternate(const std::string& html, const std::string& failedUrl, const Url& base) override;
    void evaluate(const std::string& script) override;
    Task<std::optional<Json>> evaluateForResult(std::string body) override;
    void execute(EditingCommand command) override;
    bool isWaitingForAnswer() const override { return panels_.holdPage(); }
    void setUnderPageBackground(Color color) override;
    double pageZoom() const override { return webkit_web_view_get_zoom_level(view_.get()); }
    void setPageZoom(double zoom) override { webkit_web_view_set_zoom_level(view_.get(), zoom); }

    /// Whether this is the view that the engine speaks of.
    bool shows(WebKitWebView* view) const { return view_.get() == view; }

    /// Starts the web process ahead of the first load.
    void prepare();

    using Departure = std::shared_ptr<Completion<Done>>;
    /// Puts an empty page in the place of the present one, whatever that would like to say to it. The result
    /// is settled once the page is gone: at the latest after a short limit, when the page's process is ended,
    /// or with this object.
    Departure leavePage();

private:
    void connectSignals();
    void connect(const char* signal, GCallback handler);

    bool decide(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type);
    void decideNavigation(WebKitPolicyDecision* decision, const NavigationAction& action);
    bool decideResponse(WebKitPolicyDecision* decision);
    void requestWindow(WebKitNavigationAction* action);
    void movedTo(const char* uri);
    void atRest();
    void loadChanged(WebKitLoadEvent event);
    void committed();
    void finished();
    void expectAnswer();
    void timedOut();
    void loadFailed(const char* uri, const GError* error);
    void tellFailure(LoadFailure failure);
    bool certificateRefused(const char* uri, GTlsCertificate* certificate);
    bool retry(const char* uri);
    void processTerminated(WebKitWebProcessTerminationReason reason);
    void responsivenessChanged();
    void endHeldUpPage();
    void left();

    WebKitMessages messages_;
    GPtr<WebKitWebView> view_;
    GPtr<GtkOverlay> container_;
    WebKitPanels panels_;
    std::shared_ptr<WebKitTrust> trust_;
    std::shared_ptr<WebKitViews> siblings_;
    std::string address_; ///< of the page, or of what is being loaded; the engine forgets it with the process
    bool reloading_ = false; ///< as the person wants it; nothing has come back yet
    bool abandoned_ = false; ///< the end that the engine reports next is that of a load that came to nothing
    int retriesLeft_ = 0;
    std::chrono::seconds timeout_{0};
    OneShotTimer answerLimit_; ///< of a load that has brought nothing yet
    bool outOfTime_ = false;   ///< the load that the engine reports as stopped has taken too long
    std::vector<Departure> departures_;
    OneShotTimer departureLimit_;
    OneShotTimer heldUp_; ///< the end of a page that keeps asking, or hangs, instead of going
    std::vector<SignalConnection> connections_;
};
