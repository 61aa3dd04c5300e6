#pragma once

#include "platform/Keychain.h"

#include <chrono>
#include <stop_token>
#include <string>

/// The keychain in the person's login keyring, through the Secret Service (freedesktop.org Secret Storage
/// API) of the session bus, on the main loop.
///
/// The item has the attributes "service" (the given one) and "account" ("passcode") and the label "brisko
/// passcode". A new one goes into the default collection; one that is there, wherever, gets the new data in
/// place. Reading and writing have the desktop ask the person to open a locked keyring.
class SecretServiceKeychain : public Keychain {
public:
    /// How long the service may be silent while nobody is being asked: a generous time for what takes
    /// milliseconds.
    static constexpr std::chrono::seconds usualPatience{20};

    /// `service` names the program and its profile: its application id.
    explicit SecretServiceKeychain(std::string service, std::chrono::milliseconds patience = usualPatience);
    ~SecretServiceKeychain() override;
    SecretServiceKeychain(const SecretServiceKeychain&) = delete;
    SecretServiceKeychain& operator=(const SecretServiceKeychain&) = delete;

    Task<std::optional<SecretText>> read() override;
    Task<> write(SecretText data) override;
    Task<> remove() override;

    /// Ends every open operation as unavailable before it returns; later ones fail the same way. Runs the
    /// main context for as long as that takes. The destructor does this too.
    void cancelAll();

private:
    std::string service_;
    std::chrono::milliseconds patience_;
    std::stop_source ending_;
    int open_ = 0;
};
