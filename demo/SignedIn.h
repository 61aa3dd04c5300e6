#pragma once

#include "demo/Clock.h"
#include "demo/Http.h"
#include "demo/State.h"

#include <string>

namespace Demo {

/// Ties requests to accounts through the session cookie "brisko_session".
///
/// The cookie is for this host only, hidden from scripts (HttpOnly), sent over TLS only (Secure) and not with
/// other sites' requests (SameSite=Lax). It expires with its session.
class SignedIn {
public:
    SignedIn(State& state, Now now) : state_(state), now_(std::move(now)) {}

    /// The account whose session the request carries, or null.
    Account* account(const Request& request) const;

    /// The same for an endpoint that needs one: throws Refusal (401) instead.
    Account& require(const Request& request) const;

    /// Signs the account in: the answer's receiver has its session from now on.
    void open(Answer& answer, const Account& account);

    /// Ends the request's session, if it has one, and takes the cookie back.
    void close(Answer& answer, const Request& request);

private:
    State& state_;
    Now now_;
};

} // namespace Demo
