#pragma once

#include "platform/Keychain.h"
#include "platform/linux/GPtr.h"

#include <libsecret/secret.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

/// One conversation with the Secret Service. It is cut off when the service is silent for longer than
/// `patience`, but never while the desktop asks the person something, which may take as long as the person
/// does.
///
/// Each conversation opens a session of its own, so a service that has been started anew since the last one
/// is no special case.
class SecretServiceSession {
public:
    /// What a person reads of a keyring that stays locked.
    static constexpr auto itIsLocked = "It is locked.";

    /// Every call ends soon after `stop` is requested.
    SecretServiceSession(std::chrono::milliseconds patience, std::stop_token stop);
    SecretServiceSession(const SecretServiceSession&) = delete;
    SecretServiceSession& operator=(const SecretServiceSession&) = delete;
    ~SecretServiceSession();

    /// Comes before everything else. Throws Keychain::Unavailable.
    Task<> open(SecretServiceFlags flags);

    SecretService* service() const { return service_.get(); }
    /// Goes with every call to the service.
    GCancellable* cancellable() const { return cancellable_.get(); }
    /// What a call to the service failed with, as a person reads it.
    std::string textOf(const GError& error) const;

private:
    struct Service;
    struct Prompt;

    static GType serviceType();
    static void beginPrompt(SecretService* service, SecretPrompt* prompt, const GVariantType* type,
                            GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data);
    static void promptEnded(GObject* source, GAsyncResult* result, gpointer data);
    static GVariant* finishPrompt(SecretService* service, GAsyncResult* result, GError** error);

    void cancel();
    void startClock();
    void stopClock();

    std::chrono::milliseconds patience_;
    GPtr<GCancellable> cancellable_;
    GPtr<SecretService> service_;
    std::shared_ptr<Prompt> prompt_; ///< the one that is open, or was the last
    GSource* clock_;
    bool late_ = false;
    std::stop_callback<std::function<void()>> stopping_;
};
