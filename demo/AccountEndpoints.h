#pragma once

#include "demo/Captcha.h"
#include "demo/Router.h"
#include "demo/SignedIn.h"
#include "demo/State.h"

namespace Demo {

/// The account endpoints under /api/auth that take and give JSON:
///
///   POST login     {"username" (or email), "password"}                                        {"ok"}, signs
///   in GET  captcha                                                          {"token", "image" (a data URL
///   of a PNG)} POST register  {"username", "password", "email", "captchaToken", "captchaAnswer"} {"ok"},
///   signs in POST forgot    {"email"} {"message"} POST logout {"ok"}, signs out
class AccountEndpoints {
public:
    AccountEndpoints(State& state, SignedIn& signedIn, Captcha& captcha)
        : state_(state), signedIn_(signedIn), captcha_(captcha) {}

    void addTo(Router& router);

private:
    Answer login(const Request& request);
    Answer challenge();
    Answer signUp(const Request& request);
    Answer forgot(const Request& request);
    Answer logout(const Request& request);

    State& state_;
    SignedIn& signedIn_;
    Captcha& captcha_;
};

} // namespace Demo
