#include "account/BrowserAuthentication.h"

#include <algorithm>
#include <cctype>

namespace {

/// Schemes are compared without regard to case (RFC 3986, section 3.1).
bool sameScheme(const std::string& one, const std::string& other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

} // namespace

BrowserAuthentication::BrowserAuthentication(Workspace& workspace, AuthenticationPanel& panel,
                                             std::function<bool(const std::string&)> opensPage)
    : workspace_(workspace), panel_(panel), opensPage_(std::move(opensPage)) {}

Task<std::optional<std::string>> BrowserAuthentication::authenticate(Url start, std::string callbackScheme) {
    const auto answer = std::make_shared<Answer>();
    if (const auto previous = std::exchange(waiting_, answer))
        previous->resolve(std::nullopt);
    scheme_ = std::move(callbackScheme);

    const auto fail = [answer](const Error& failure) { answer->fail(std::make_exception_ptr(failure)); };
    panel_.show([answer] {
        answer->fail(std::make_exception_ptr(
            WebAuthenticationError("Sign-in was cancelled.", WebAuthenticationError::cancelledLogin)));
    });
    workspace_.open(start, fail);

    std::optional<std::string> url;
    std::exception_ptr failure;
    try {
        url = co_await *answer;
    } catch (...) {
        failure = std::current_exception();
    }
    if (waiting_ == answer) {
        waiting_.reset();
        panel_.hide();
    }
    if (failure)
        std::rethrow_exception(failure);
    co_return url;
}

bool BrowserAuthentication::take(const std::string& text) {
    if (!waiting_ || waiting_->settled())
        return false;
    const auto colon = text.find(':');
    if (colon == std::string::npos || !sameScheme(text.substr(0, colon), scheme_) || opensPage_(text))
        return false;
    const auto answer = waiting_;
    answer->resolve(text);
    return true;
}
