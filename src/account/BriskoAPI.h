#pragma once

#include "platform/CookieJar.h"
#include "platform/Error.h"
#include "platform/HttpClient.h"
#include "platform/Json.h"
#include "platform/SecretText.h"
#include "platform/Task.h"
#include "platform/WebAuthentication.h"
#include "platform/WebDataStore.h"

#include <stop_token>
#include <string>
#include <string_view>

/// The account's life on this machine: the HTTP client of the service's authentication endpoints, and the
/// session between the client's cookie jar and the web view's cookie store.
///
/// The service marks a session with one cookie. Every sign-in ends with that cookie in the jar;
/// `handOverSession` then signs the web view in too. No operation keeps a password or a token anywhere but in
/// the request it sends.
///
/// The operations that may fail throw `Failure` where the service said no, and the platform's own error
/// (TransportError, WebAuthenticationError, the JSON encoder's) unchanged where it could not be asked.
/// Nothing is retried or logged. The object has to outlive every task it hands out.
class BriskoAPI {
public:
    /// What the service, or this client, has to say to the person: a complete sentence.
    class Failure : public Error {
    public:
        explicit Failure(std::string message) : Error(std::move(message)) {}
        std::string message() const { return what(); }
    };

    /// A verification challenge of the sign-up.
    struct Captcha {
        std::string token; ///< opaque, sent back with the answer
        std::string image; ///< the bytes of an image file
    };

    static constexpr std::string_view sessionCookieName = "brisko_session";

    /// `origin` is an https URL without path. Throws std::invalid_argument when it is anything else.
    BriskoAPI(Url origin, HttpClient& session, CookieJar& storage, WebDataStore& webData,
              WebAuthentication& webAuthentication);

    const Url& origin() const { return origin_; }

    /// The value of an origin setting: an https URL with a host and nothing behind it but an optional "/";
    /// none otherwise. The host comes in lower case, as engines and cookies write it.
    static std::optional<Url> parseOrigin(std::string_view text);

    /// Password sign-in; the values are sent exactly as given.
    Task<> signIn(std::string username, SecretText password);
    /// Sign-up. The email may be empty.
    Task<> registerAccount(std::string username, SecretText password, std::string email,
                           std::string captchaToken, std::string captchaAnswer);
    /// Asks for a reset link and gives the notice to show.
    Task<std::string> requestReset(std::string email);
    Task<Captcha> captcha(std::stop_token stop = {});
    /// Sign-in at Google in the person's browser; see WebAuthentication for how it ends when they give up.
    Task<> signInWithGoogle();

    /// Whether the jar holds the session cookie for the origin. Asks nobody.
    bool hasSession() const;
    /// Whether the web view holds the session as well. One that only the jar still holds is over: both are
    /// cleared.
    Task<bool> hasLiveSession();
    /// Copies the jar's cookies for the origin into the web view's store, one after the other.
    Task<> handOverSession();
    /// Takes over what the service has made of the jar's cookies for the origin in the page, a later end for
    /// one. Those that are no longer in the jar stay away.
    void keepRenewed(const std::vector<Cookie>& ofThePage) const;
    /// Ends the session on this machine: the jar's cookies for the origin, then all website data. Sends
    /// nothing.
    Task<> signOut();

private:
    Task<Json> post(std::string path, Json body);

    Url origin_;
    HttpClient& session_;
    CookieJar& storage_;
    WebDataStore& webData_;
    WebAuthentication& webAuthentication_;
};
