#include "web/linux/WebKitView.h"

#include "platform/linux/GAsync.h"
#include "web/linux/WebKitHistory.h"
#include "web/linux/WebKitPageMenu.h"
#include "web/linux/WebKitTrust.h"

#include <malloc.h>

#include <algorithm>
#include <string_view>

namespace {

constexpr const char* emptyPage = "about:blank";
/// After this the toolkit has let go of what it drew a page with.
constexpr guint secondsUntilFree = 1;
constexpr std::chrono::milliseconds departureLimit(2000);
/// How often one load is repeated by itself before what keeps it from succeeding is reported.
constexpr int retriesOfOneLoad = 3;

GPtr<WebKitWebView> makeWebView(WebKitNetworkSession* session, WebKitUserContentManager* content,
                                WebKitSettings* settings) {
    auto* const view = g_object_new(WEBKIT_TYPE_WEB_VIEW, "network-session", session, "user-content-manager",
                                    content, "settings", settings, nullptr);
    // The engine translates keys with a text view that nobody sees. Tab would go on from the page to it, and
    // the keyboard would stay there; the menu key would open its menu.
    for (auto* child = gtk_widget_get_first_child(GTK_WIDGET(view)); child;
         child = gtk_widget_get_next_sibling(child)) {
        gtk_widget_set_focusable(child, FALSE);
        gtk_widget_action_set_enabled(child, "menu.popup", FALSE);
    }
    return GPtr<WebKitWebView>::take(WEBKIT_WEB_VIEW(g_object_ref_sink(view)));
}

NavigationAction describe(WebKitNavigationAction* action) {
    const char* const uri = webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
    return {.url = uri ? uri : "",
            .isUsersGesture = webkit_navigation_action_is_user_gesture(action) != FALSE};
}

/// A response became a download, was ignored, or had nothing to show.
bool isTurnedAside(const GError* error) {
    return g_error_matches(error, WEBKIT_POLICY_ERROR,
                           WEBKIT_POLICY_ERROR_FRAME_LOAD_INTERRUPTED_BY_POLICY_CHANGE);
}

/// Another load took its place, or it was stopped.
bool isGivenUp(const GError* error) {
    return g_error_matches(error, WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED);
}

const char* nameOf(EditingCommand command) {
    switch (command) {
    case EditingCommand::undo:
        return WEBKIT_EDITING_COMMAND_UNDO;
    case EditingCommand::redo:
        return WEBKIT_EDITING_COMMAND_REDO;
    case EditingCommand::cut:
        return WEBKIT_EDITING_COMMAND_CUT;
    case EditingCommand::copy:
        return WEBKIT_EDITING_COMMAND_COPY;
    case EditingCommand::paste:
        return WEBKIT_EDITING_COMMAND_PASTE;
    case EditingCommand::pasteAsPlainText:
        return WEBKIT_EDITING_COMMAND_PASTE_AS_PLAIN_TEXT;
    case EditingCommand::selectAll:
        return WEBKIT_EDITING_COMMAND_SELECT_ALL;
    }
    return "";
}

} // namespace

WebKitView::WebKitView(WebKitNetworkSession* session, std::shared_ptr<WebKitTrust> trust,
                       std::shared_ptr<WebKitViews> siblings, GPtr<WebKitSettings> settings)
    : view_(makeWebView(session, messages_.manager(), settings.get())),
      container_(GPtr<GtkOverlay>::take(GTK_OVERLAY(g_object_ref_sink(gtk_overlay_new())))),
      panels_(view_.get(), *this),
      trust_(std::move(trust)),
      siblings_(std::move(siblings)) {
    gtk_overlay_set_child(container_.get(), GTK_WIDGET(view_.get()));
    WebKitHistory::listen(container_.get());
    panels_.onHeldUp = [this] { endHeldUpPage(); };
    connectSignals();
    siblings_->push_back(this);
}

WebKitView::~WebKitView() {
    connections_.clear();
    panels_.leave();
    std::erase(*siblings_, this);
    gtk_overlay_set_child(container_.get(), nullptr);
    // The engine would keep the process for a while, and the page's data in it.
    webkit_web_view_terminate_web_process(view_.get());
    // A call into the page that has not been answered holds the view; closing the page answers it.
    g_object_run_dispose(G_OBJECT(view_.get()));
    left();
    // What was needed to show the page is free now, but not yet the system's: the allocator gives back the
    // end of its memory only, and not by itself what lies before.
    g_timeout_add_seconds(
        secondsUntilFree,
        [](gpointer) -> gboolean {
            malloc_trim(0);
            return G_SOURCE_REMOVE;
        },
        nullptr);
}

void WebKitView::connect(const char* signal, GCallback handler) {
    connections_.emplace_back(view_.get(), g_signal_connect(view_.get(), signal, handler, this));
}

void WebKitView::connectSignals() {
    using Self = WebKitView*;
    connect("decide-policy",
            G_CALLBACK(+[](WebKitWebView*, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type,
                           Self self) -> gboolean { return self->decide(decision, type); }));
    connect("create",
            G_CALLBACK(+[](WebKitWebView*, WebKitNavigationAction* action, Self self) -> GtkWidget* {
                self->requestWindow(action);
                return nullptr;
            }));
    connect("context-menu",
            G_CALLBACK(+[](WebKitWebView*, WebKitContextMenu* menu, WebKitHitTestResult*, Self) -> gboolean {
                WebKitPageMenu::adapt(menu);
                return FALSE;
            }));
    connect("load-changed",
            G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent event, Self self) { self->loadChanged(event); }));
    connect("load-failed", G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent, const char* uri,
                                          const GError* error, Self self) -> gboolean {
                self->loadFailed(uri, error);
                return TRUE; // otherwise the engine would show a page of its own
            }));
    connect(
        "load-failed-with-tls-errors",
        G_CALLBACK(+[](WebKitWebView*, const char* uri, GTlsCertificate* certificate, GTlsCertificateFlags,
                       Self self) -> gboolean { return self->certificateRefused(uri, certificate); }));
    connect("resource-load-started",
            G_CALLBACK(+[](WebKitWebView*, WebKitWebResource* resource, WebKitURIRequest*, Self self) {
                WebKitTrust::follow(self->trust_, resource);
            }));
    connect("notify::is-loading", G_CALLBACK(+[](WebKitWebView* view, GParamSpec*, Self self) {
                if (!webkit_web_view_is_loading(view))
                    self->atRest();
            }));
    connect("notify::uri", G_CALLBACK(+[](WebKitWebView* view, GParamSpec*, Self self) {
                self->movedTo(webkit_web_view_get_uri(view));
            }));
    connect("notify::is-web-process-responsive",
            G_CALLBACK(+[](WebKitWebView*, GParamSpec*, Self self) { self->responsivenessChanged(); }));
    connect("web-process-terminated", G_CALLBACK(+[](WebKitWebView*, WebKitWebProcessTerminationReason reason,
                                                     Self self) { self->processTerminated(reason); }));
}

void WebKitView::load(const Url& url, std::chrono::seconds timeout) {
    left();
    panels_.leave();
    retriesLeft_ = retriesOfOneLoad;
    timeout_ = timeout;
    address_ = url.text();
    expectAnswer();
    webkit_web_view_load_uri(view_.get(), address_.c_str());
}

void WebKitView::reload() {
    panels_.leave();
    expectAnswer();
    reloading_ = true;
    webkit_web_view_reload(view_.get());
    responsivenessChanged();
}

void WebKitView::loadAlternate(const std::string& html, const std::string& failedUrl, const Url& base) {
    panels_.dismiss();
    webkit_web_view_load_alternate_html(view_.get(), html.c_str(), failedUrl.c_str(), base.text().c_str());
}

void WebKitView::prepare() {
    evaluate("0");
}

void WebKitView::evaluate(const std::string& script) {
    webkit_web_view_evaluate_javascript(view_.get(), script.c_str(), static_cast<gssize>(script.size()),
                                        nullptr, nullptr, nullptr, nullptr, nullptr);
}

Task<std::optional<Json>> WebKitView::evaluateForResult(std::string body) {
    auto* const view = view_.get();
    GAsync calling;
    webkit_web_view_call_async_javascript_function(view, body.c_str(), static_cast<gssize>(body.size()),
                                                   nullptr, nullptr, nullptr, nullptr, GAsync::ready,
                                                   &calling);
    const auto result = co_await calling;
    const auto value = GPtr<JSCValue>::take(
        webkit_web_view_call_async_javascript_function_finish(view, result.get(), nullptr));
    const GText text(value ? jsc_value_to_json(value.get(), 0) : nullptr);
    if (!text)
        co_return std::nullopt;
    auto json = parseJson(text.get());
    if (json.is_discarded())
        co_return std::nullopt;
    co_return json;
}

void WebKitView::execute(EditingCommand command) {
    webkit_web_view_execute_editing_command(view_.get(), nameOf(command));
}

void WebKitView::setUnderPageBackground(Color color) {
    const GdkRGBA rgba = {static_cast<float>(color.red), static_cast<float>(color.green),
                          static_cast<float>(color.blue), static_cast<float>(color.alpha)};
    webkit_web_view_set_background_color(view_.get(), &rgba);
}

bool WebKitView::decide(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type) {
    if (type == WEBKIT_POLICY_DECISION_TYPE_RESPONSE)
        return decideResponse(decision);
    auto* const action =
        webkit_navigation_policy_decision_get_navigation_action(WEBKIT_NAVIGATION_POLICY_DECISION(decision));
    if (type == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION) {
        decideNavigation(decision, describe(action));
    } else {
        // Allowed, it would come back as a request to create a view.
        webkit_policy_decision_ignore(decision);
        requestWindow(action);
    }
    return true;
}

void WebKitView::decideNavigation(WebKitPolicyDecision* decision, const NavigationAction& action) {
    // The engine shows a file that is dropped beside what takes it, in the page's place. No page asks for
    // one.
    if (action.url.starts_with("file:")) {
        webkit_policy_decision_ignore(decision);
        return;
    }
    const auto leaving = !departures_.empty() && action.url == emptyPage;
    // The callback may end this object, and with it the callback.
    const auto ask = leaving ? nullptr : decidePolicy;
    switch (ask ? ask(action) : NavigationPolicy::allow) {
    case NavigationPolicy::allow:
        webkit_policy_decision_use(decision);
        break;
    case NavigationPolicy::cancel:
        webkit_policy_decision_ignore(decision);
        break;
    case NavigationPolicy::download:
        webkit_policy_decision_download(decision);
        break;
    }
}

bool WebKitView::decideResponse(WebKitPolicyDecision* decision) {
    constexpr guint noContent = 204;
    constexpr guint resetContent = 205;
    auto* const response = WEBKIT_RESPONSE_POLICY_DECISION(decision);
    const auto status =
        webkit_uri_response_get_status_code(webkit_response_policy_decision_get_response(response));
    if (status == noContent || status == resetContent)
        return false;
    const auto ask = this->WebView::decideResponse;
    const bool showable = webkit_response_policy_decision_is_mime_type_supported(response);
    switch (ask ? ask(showable) : NavigationPolicy::allow) {
    case NavigationPolicy::allow:
        return false;
    case NavigationPolicy::cancel:
        webkit_policy_decision_ignore(decision);
        break;
    case NavigationPolicy::download:
        webkit_policy_decision_download(decision);
        break;
    }
    return true;
}

void WebKitView::requestWindow(WebKitNavigationAction* action) {
    if (const auto tell = onNewWindow)
        tell(describe(action));
}

void WebKitView::movedTo(const char* uri) {
    if (uri && *uri && std::string_view(uri) != emptyPage)
        address_ = uri;
}

/// Also the end of a load that the policy has refused, of which the engine tells nothing else: the page that
/// was to be left stays.
void WebKitView::atRest() {
    answerLimit_.stop();
    reloading_ = false;
    panels_.arrived();
}

void WebKitView::loadChanged(WebKitLoadEvent event) {
    if (event == WEBKIT_LOAD_STARTED) {
        abandoned_ = false;
    } else if (event == WEBKIT_LOAD_COMMITTED) {
        committed();
    } else if (event == WEBKIT_LOAD_FINISHED && !std::exchange(abandoned_, false)) {
        finished();
    }
}

void WebKitView::committed() {
    answerLimit_.stop();
    reloading_ = false;
    outOfTime_ = false;
    // A panel belongs to the page that has just gone.
    panels_.dismiss();
    panels_.arrived();
    retriesLeft_ = retriesOfOneLoad;
    const char* const uri = webkit_web_view_get_uri(view_.get());
    if (uri && std::string_view(uri) == emptyPage)
        left();
    else if (onArrived)
        onArrived();
}

void WebKitView::finished() {
    // The callback may end this object, and with it the callback.
    if (const auto tell = onFinished)
        tell();
}

void WebKitView::expectAnswer() {
    if (timeout_ > std::chrono::seconds(0))
        answerLimit_.start(timeout_, [this] { timedOut(); });
}

void WebKitView::timedOut() {
    outOfTime_ = true;
    if (webkit_web_view_get_is_web_process_responsive(view_.get())) {
        webkit_web_view_stop_loading(view_.get()); // "load-failed" follows
        return;
    }
    webkit_web_view_terminate_web_process(view_.get());
    tellFailure(LoadFailure{address_, Error("The page does not answer.")});
}

void WebKitView::loadFailed(const char* uri, const GError* error) {
    abandoned_ = true;
    if (isGivenUp(error) && !std::exchange(outOfTime_, false)) {
        tellFailure(LoadFailure{uri, Error(error->message, error->code), true});
        return;
    }
    answerLimit_.stop();
    if (isTurnedAside(error)) {
        tellFailure(LoadFailure{uri, Error(error->message, error->code), true});
        return;
    }
    // Now and then this is all that the engine reports of a certificate that it does not trust.
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) && trust_->covers(uri) && retry(uri))
        return;
    tellFailure(LoadFailure{uri, Error(error->message, error->code)});
}

void WebKitView::tellFailure(LoadFailure failure) {
    if (const auto tell = onFailed)
        tell(failure);
}

bool WebKitView::certificateRefused(const char* uri, GTlsCertificate* certificate) {
    return trust_->admit(uri, certificate) && retry(uri);
}

bool WebKitView::retry(const char* uri) {
    if (retriesLeft_ == 0)
        return false;
    retriesLeft_ -= 1;
    abandoned_ = true;
    webkit_web_view_load_uri(view_.get(), uri);
    return true;
}

void WebKitView::processTerminated(WebKitWebProcessTerminationReason reason) {
    panels_.dismiss();
    panels_.arrived();
    answerLimit_.stop();
    left();
    if (reason == WEBKIT_WEB_PROCESS_TERMINATED_BY_API)
        return;
    // The callback may end this object, and with it the callback.
    if (const auto tell = onProcessEnded)
        tell(std::string(address_));
}

/// A page that hangs would hold up the one that replaces it until nobody waits any more.
void WebKitView::responsivenessChanged() {
    if (reloading_ && !webkit_web_view_get_is_web_process_responsive(view_.get()))
        endHeldUpPage();
}

void WebKitView::endHeldUpPage() {
    // Not from within the page's own question.
    heldUp_.start(std::chrono::milliseconds(0), [this] {
        webkit_web_view_terminate_web_process(view_.get());
        if (departures_.empty())
            webkit_web_view_load_uri(view_.get(), address_.c_str());
    });
}

WebKitView::Departure WebKitView::leavePage() {
    auto departure = std::make_shared<Completion<Done>>();
    const char* const uri = webkit_web_view_get_uri(view_.get());
    if (!uri || !*uri || std::string_view(uri) == emptyPage) {
        departure->resolve(Done());
        return departure;
    }
    departures_.push_back(departure);
    panels_.leave();
    if (!departureLimit_.running())
        // Ends the departures as well: the page is gone with its process.
        departureLimit_.start(departureLimit, [this] { webkit_web_view_terminate_web_process(view_.get()); });
    webkit_web_view_load_uri(view_.get(), emptyPage);
    return departure;
}

void WebKitView::left() {
    departureLimit_.stop();
    // Whoever waits may end this object.
    for (const auto& departure : std::exchange(departures_, {}))
        departure->resolve(Done());
}
