#pragma once

#include "account/BriskoAPI.h"
#include "account/Remembered.h"
#include "fakes/FakePlatform.h"

/// An account's client at a service of our own making, and what it runs on.
struct FakeAccount {
    FakeHttpClient http;
    FakeCookieJar jar;
    FakeWebDataStore webData;
    FakeWebAuthentication browser;
    FakeUserDefaults defaults;
    FakeWorkspace workspace;
    BriskoAPI api{*Url::parse("https://brisko.example"), http, jar, webData, browser};
    Remembered remembered{defaults};

    static Cookie session(std::string domain = "brisko.example") {
        return {"brisko_session", "s1", std::move(domain), "/", {}, true};
    }
    /// The service says yes to the request that waits, and sets its cookie.
    void acceptSignIn() {
        jar.cookies.push_back(session());
        http.answer(200, "{}");
    }
};
