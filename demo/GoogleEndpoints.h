#pragma once

#include "demo/OneTimeTokens.h"
#include "demo/Router.h"
#include "demo/SignedIn.h"
#include "demo/State.h"

namespace Demo {

/// Sign-in "with Google", with a consent page of the service's own in the identity provider's place:
///
///   GET  /api/auth/google            the consent page; "native=1" says that the desktop program asks
///   POST /api/auth/google            its form: "nonce" (good for one use, ten minutes) and "decision"
///   ("allow" or else) POST /api/auth/native  {"code"}  the desktop program trades its code, once, within ten
///   minutes, for a session
///
/// A decision for the desktop program ends at brisko://auth with the query item "code", or
/// "error=access_denied". A client that asks for HTML gets a page that opens this address and says what to do
/// if nothing opens; any other gets a 303 to it. A decision in the browser itself ends at the task page, or
/// at the sign-in page.
class GoogleEndpoints {
public:
    GoogleEndpoints(State& state, SignedIn& signedIn, const Now& now);

    void addTo(Router& router);

private:
    Answer askConsent(const Request& request);
    Answer decide(const Request& request);
    Answer exchange(const Request& request);

    State& state_;
    SignedIn& signedIn_;
    OneTimeTokens consents_; // payload: who asked
    OneTimeTokens codes_;    // payload: the username
};

} // namespace Demo
