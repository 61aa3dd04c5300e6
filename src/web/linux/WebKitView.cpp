#include "web/linux/WebKitView.h"

#include "platform/linux/GAsync.h"
#include "web/linux/WebKitTrust.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr const char* emptyPage = "about:blank";
constexpr unsigned departureLimitInMilliseconds = 2000;
/// How often one load is repeated by itself before what keeps it from succeeding is reported.
constexpr int retriesOfOneLoad = 3;

GPtr<WebKitWebView> makeWebView(WebKitNetworkSession* session, WebKitSettings* settings) {
    auto* const view =
        g_object_new(WEBKIT_TYPE_WEB_VIEW, "network-session", session, "settings", settings, nullptr);
    return GPtr<WebKitWebView>::take(WEBKIT_WEB_VIEW(g_object_ref_sink(view)));
}

std::string uriOf(WebKitNavigationAction* action) {
    const char* const uri = webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
    return uri ? uri : "";
}

/// The load ended because something else took its place, not because anything went wrong.
bool isGivenUp(const GError* error) {
    return g_error_matches(error, WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED) ||
           g_error_matches(error, WEBKIT_POLICY_ERROR,
                           WEBKIT_POLICY_ERROR_FRAME_LOAD_INTERRUPTED_BY_POLICY_CHANGE);
}

bool decideResponse(WebKitPolicyDecision* decision) {
    auto* const response = WEBKIT_RESPONSE_POLICY_DECISION(decision);
    constexpr guint noContent = 204;
    constexpr guint resetContent = 205;
    const auto status =
        webkit_uri_response_get_status_code(webkit_response_policy_decision_get_response(response));
    if (status == noContent || status == resetContent ||
        webkit_response_policy_decision_is_mime_type_supported(response))
        return false;
    webkit_policy_decision_download(decision);
    return true;
}

} // namespace

WebKitView::WebKitView(WebKitNetworkSession* session, std::shared_ptr<WebKitTrust> trust,
                       std::shared_ptr<WebKitViews> siblings, GPtr<WebKitSettings> settings)
    : view_(makeWebView(session, settings.get())),
      container_(GPtr<GtkOverlay>::take(GTK_OVERLAY(g_object_ref_sink(gtk_overlay_new())))),
      trust_(std::move(trust)),
      siblings_(std::move(siblings)) {
    gtk_overlay_set_child(container_.get(), GTK_WIDGET(view_.get()));
    connectSignals();
    siblings_->push_back(this);
}

WebKitView::~WebKitView() {
    connections_.clear();
    std::erase(*siblings_, this);
    gtk_overlay_set_child(container_.get(), nullptr);
    // The engine would keep the process for a while, and the page's data in it.
    webkit_web_view_terminate_web_process(view_.get());
    // A call into the page that has not been answered holds the view; closing the page answers it.
    g_object_run_dispose(G_OBJECT(view_.get()));
    left();
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
    connect("load-changed",
            G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent event, Self self) { self->loadChanged(event); }));
    connect("load-failed",
            G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent, const char* uri, const GError* error,
                           Self self) -> gboolean { return self->loadFailed(uri, error); }));
    connect(
        "load-failed-with-tls-errors",
        G_CALLBACK(+[](WebKitWebView*, const char* uri, GTlsCertificate* certificate, GTlsCertificateFlags,
                       Self self) -> gboolean { return self->certificateRefused(uri, certificate); }));
    connect("script-dialog", G_CALLBACK(+[](WebKitWebView*, WebKitScriptDialog* dialog,
                                            Self self) -> gboolean { return self->answerDialog(dialog); }));
    connect("web-process-terminated",
            G_CALLBACK(+[](WebKitWebView*, WebKitWebProcessTerminationReason, Self self) { self->left(); }));
}

void WebKitView::load(const Url& url) {
    left();
    retriesLeft_ = retriesOfOneLoad;
    webkit_web_view_load_uri(view_.get(), url.text().c_str());
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
    const auto result = co_await calling.settlement();
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
        decideNavigation(decision, uriOf(action));
    } else {
        // Allowed, it would come back as a request to create a view.
        webkit_policy_decision_ignore(decision);
        requestWindow(action);
    }
    return true;
}

void WebKitView::decideNavigation(WebKitPolicyDecision* decision, const std::string& uri) {
    const auto leaving = !departures_.empty() && uri == emptyPage;
    // The callback may end this object, and with it the callback.
    const auto ask = leaving ? nullptr : decidePolicy;
    NavigationAction action;
    action.url = uri;
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

void WebKitView::requestWindow(WebKitNavigationAction* action) {
    if (const auto tell = onNewWindow)
        tell(uriOf(action));
}

void WebKitView::loadChanged(WebKitLoadEvent event) {
    if (event == WEBKIT_LOAD_STARTED)
        abandoned_ = false;
    else if (event == WEBKIT_LOAD_COMMITTED)
        committed();
    else if (event == WEBKIT_LOAD_FINISHED && !std::exchange(abandoned_, false))
        finished();
}

void WebKitView::committed() {
    const char* const uri = webkit_web_view_get_uri(view_.get());
    // The engine's page about a failure stands under the address that could not be loaded.
    if (failure_ && uri && failure_->uri == uri)
        return;
    failure_.reset();
    retriesLeft_ = retriesOfOneLoad;
    if (uri && std::string_view(uri) == emptyPage)
        left();
}

void WebKitView::finished() {
    // The callback may end this object, and with it the callback.
    if (const auto failure = std::exchange(failure_, std::nullopt)) {
        if (const auto tell = onFailed)
            tell(failure->error);
    } else if (const auto tell = onFinished) {
        tell();
    }
}

bool WebKitView::loadFailed(const char* uri, const GError* error) {
    abandoned_ = true;
    if (isGivenUp(error))
        return false;
    // Now and then this is all that the engine reports of a certificate that it does not trust.
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) && trust_->covers(uri) && retry(uri))
        return true;
    failure_ = Failure(uri, Error(error->message, error->code));
    return false;
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

bool WebKitView::answerDialog(WebKitScriptDialog* dialog) {
    if (departures_.empty() ||
        webkit_script_dialog_get_dialog_type(dialog) != WEBKIT_SCRIPT_DIALOG_BEFORE_UNLOAD_CONFIRM)
        return false;
    webkit_script_dialog_confirm_set_confirmed(dialog, TRUE);
    return true;
}

WebKitView::Departure WebKitView::leavePage() {
    auto departure = std::make_shared<Completion<Done>>();
    const char* const uri = webkit_web_view_get_uri(view_.get());
    if (!uri || !*uri || std::string_view(uri) == emptyPage) {
        departure->resolve(Done());
        return departure;
    }
    departures_.push_back(departure);
    if (departureLimit_ == 0) {
        const auto limit = [](gpointer self) -> gboolean {
            auto* const view = static_cast<WebKitView*>(self)->view_.get();
            static_cast<WebKitView*>(self)->departureLimit_ = 0;
            // Ends the departures as well: the page is gone with its process.
            webkit_web_view_terminate_web_process(view);
            return G_SOURCE_REMOVE;
        };
        departureLimit_ = g_timeout_add(departureLimitInMilliseconds, limit, this);
    }
    webkit_web_view_load_uri(view_.get(), emptyPage);
    return departure;
}

void WebKitView::left() {
    if (departureLimit_ != 0)
        g_source_remove(std::exchange(departureLimit_, 0));
    // Whoever waits may end this object.
    for (const auto& departure : std::exchange(departures_, {}))
        departure->resolve(Done());
}
