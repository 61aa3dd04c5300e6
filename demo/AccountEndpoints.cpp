#include "demo/AccountEndpoints.h"

#include "platform/linux/GPtr.h"

#include <nlohmann/json.hpp>

namespace Demo {

void AccountEndpoints::addTo(Router& router) {
    router.on("POST", "/api/auth/login", [this](const Request& request) { return login(request); });
    router.on("GET", "/api/auth/captcha", [this](const Request&) { return challenge(); });
    router.on("POST", "/api/auth/register", [this](const Request& request) { return signUp(request); });
    router.on("POST", "/api/auth/forgot", [this](const Request& request) { return forgot(request); });
    router.on("POST", "/api/auth/logout", [this](const Request& request) { return logout(request); });
}

Answer AccountEndpoints::login(const Request& request) {
    const nlohmann::json form = request.object();
    const Account* account =
        state_.accounts.signIn(requireText(form, "username"), requireText(form, "password"));
    if (!account)
        throw Refusal(401, "Wrong username or password.");
    Answer answer = Answer::json(200, {{"ok", true}});
    signedIn_.open(answer, *account);
    return answer;
}

Answer AccountEndpoints::challenge() {
    const Captcha::Challenge challenge = captcha_.draw();
    const GText encoded(
        g_base64_encode(reinterpret_cast<const guchar*>(challenge.png.data()), challenge.png.size()));
    return Answer::json(
        200, {{"token", challenge.token}, {"image", std::string("data:image/png;base64,") + encoded.get()}});
}

Answer AccountEndpoints::signUp(const Request& request) {
    const nlohmann::json form = request.object();
    const std::string username = requireText(form, "username");
    const std::string password = requireText(form, "password");
    const std::string email = requireText(form, "email");
    // Before anything else is looked at, so that nobody finds out taken names without reading a picture for
    // each.
    if (!captcha_.passes(requireText(form, "captchaToken"), requireText(form, "captchaAnswer")))
        throw Refusal(400, "The characters do not match the picture. Please try the new one.");
    const Account& account = state_.accounts.signUp(username, email, password);
    Answer answer = Answer::json(200, {{"ok", true}});
    signedIn_.open(answer, account);
    return answer;
}

Answer AccountEndpoints::forgot(const Request& request) {
    const std::string email = requireText(request.object(), "email");
    if (email.find('@') == std::string::npos)
        throw Refusal(400, "Please enter the email address of your account.");
    // The same for every address: who has an account here is nobody else's business.
    return Answer::json(200, {{"message", "If that address has an account, a reset link is on its way. "
                                          "(The demo service sends no mail.)"}});
}

Answer AccountEndpoints::logout(const Request& request) {
    Answer answer = Answer::json(200, {{"ok", true}});
    signedIn_.close(answer, request);
    return answer;
}

} // namespace Demo
