#include "lock/linux/SecretServiceSession.h"

#include "platform/linux/GAsync.h"

#include <limits>
#include <utility>

namespace {

/// Below every source that can bring an answer: after a pause of the whole program, what has arrived counts
/// first.
constexpr int answerClockPriority = G_PRIORITY_LOW;
constexpr gint64 never = -1;

void unrefVariant(gpointer value) {
    g_variant_unref(static_cast<GVariant*>(value));
}

} // namespace

/// The Secret Service as libsecret sees it, whose prompts are handled here.
struct SecretServiceSession::Service {
    SecretService parent;
    SecretServiceSession* session;
};

/// A question of the desktop. It may outlive its session.
struct SecretServiceSession::Prompt {
    SecretServiceSession* session; ///< null once the session has ended
    GPtr<SecretPrompt> asked;
    GPtr<GTask> answer;
    bool isOpen = true;
};

SecretServiceSession::SecretServiceSession(std::chrono::milliseconds patience, std::stop_token stop)
    : patience_(patience),
      cancellable_(GPtr<GCancellable>::take(g_cancellable_new())),
      clock_(g_timeout_source_new(std::numeric_limits<guint>::max())),
      stopping_(std::move(stop), [this] { cancel(); }) {
    const auto expire = [](gpointer data) -> gboolean {
        auto& self = *static_cast<SecretServiceSession*>(data);
        self.late_ = true;
        self.stopClock();
        self.cancel();
        return G_SOURCE_CONTINUE;
    };
    g_source_set_priority(clock_, answerClockPriority);
    g_source_set_callback(clock_, expire, this, nullptr);
    g_source_attach(clock_, nullptr);
    startClock();
}

SecretServiceSession::~SecretServiceSession() {
    if (prompt_)
        prompt_->session = nullptr;
    g_source_destroy(clock_);
    g_source_unref(clock_);
}

Task<> SecretServiceSession::open(SecretServiceFlags flags) {
    GAsync opening;
    secret_service_open(serviceType(), nullptr, flags, cancellable(), GAsync::ready, &opening);
    const auto result = co_await opening;
    GError* error = nullptr;
    service_ = GPtr<SecretService>::take(secret_service_open_finish(result.get(), &error));
    if (!service_)
        throw Keychain::Unavailable(textOf(*GErrorPtr(error)));
    reinterpret_cast<Service*>(service())->session = this;
}

std::string SecretServiceSession::textOf(const GError& error) const {
    if (late_ && g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_CANCELLED))
        return "The keyring does not answer.";
    const GErrorPtr copy(g_error_copy(&error));
    g_dbus_error_strip_remote_error(copy.get());
    return copy->message;
}

GType SecretServiceSession::serviceType() {
    const auto prepare = [](gpointer made, gpointer) {
        auto* type = static_cast<SecretServiceClass*>(made);
        type->prompt_async = beginPrompt;
        type->prompt_finish = finishPrompt;
    };
    static const auto type =
        g_type_register_static_simple(SECRET_TYPE_SERVICE, "BriskoSecretService", sizeof(SecretServiceClass),
                                      prepare, sizeof(Service), nullptr, static_cast<GTypeFlags>(0));
    return type;
}

// libsecret 0.20 does this by itself, but then an operation whose prompt is dismissed, cancelled or left by
// the service never ends.
void SecretServiceSession::beginPrompt(SecretService* service, SecretPrompt* prompt, const GVariantType* type,
                                       GCancellable*, GAsyncReadyCallback ready, gpointer data) {
    auto& session = *reinterpret_cast<Service*>(service)->session;
    session.stopClock();
    session.prompt_ = std::make_shared<Prompt>();
    session.prompt_->session = &session;
    session.prompt_->asked = GPtr<SecretPrompt>::share(prompt);
    session.prompt_->answer = GPtr<GTask>::take(g_task_new(service, nullptr, ready, data));
    auto held = std::make_unique<std::shared_ptr<Prompt>>(session.prompt_);
    secret_prompt_perform(prompt, "", type, nullptr, promptEnded, held.release());
}

void SecretServiceSession::promptEnded(GObject* source, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<std::shared_ptr<Prompt>> held(static_cast<std::shared_ptr<Prompt>*>(data));
    auto& prompt = **held;
    GError* error = nullptr;
    GVariantPtr answer(secret_prompt_perform_finish(SECRET_PROMPT(source), result, &error));
    GErrorPtr failure(error);
    if (!std::exchange(prompt.isOpen, false))
        return;
    if (prompt.session)
        prompt.session->startClock();
    if (failure)
        g_task_return_error(prompt.answer.get(), failure.release());
    else if (!answer)
        g_task_return_new_error(prompt.answer.get(), SECRET_ERROR, SECRET_ERROR_IS_LOCKED, "%s", itIsLocked);
    else
        g_task_return_pointer(prompt.answer.get(), answer.release(), unrefVariant);
}

GVariant* SecretServiceSession::finishPrompt(SecretService*, GAsyncResult* result, GError** error) {
    return static_cast<GVariant*>(g_task_propagate_pointer(G_TASK(result), error));
}

void SecretServiceSession::cancel() {
    // Who waits may go on, and end this session, before the last call returns.
    const auto prompt = prompt_;
    g_cancellable_cancel(cancellable());
    if (!prompt || !std::exchange(prompt->isOpen, false))
        return;
    g_dbus_proxy_call(G_DBUS_PROXY(prompt->asked.get()), "Dismiss", nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START,
                      -1, nullptr, nullptr, nullptr);
    g_task_return_new_error(prompt->answer.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED,
                            "Operation was cancelled");
}

void SecretServiceSession::startClock() {
    const auto wait = std::chrono::duration_cast<std::chrono::microseconds>(patience_).count();
    g_source_set_ready_time(clock_, g_get_monotonic_time() + wait);
}

void SecretServiceSession::stopClock() {
    g_source_set_ready_time(clock_, never);
}
