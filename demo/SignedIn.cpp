#include "demo/SignedIn.h"

#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>

#include <memory>

namespace Demo {

namespace {

constexpr const char* cookieName = "brisko_session";

std::string cookieHeader(const std::string& value, Clock::time_point expires) {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> date(
        g_date_time_new_from_unix_utc(Clock::to_time_t(expires)), g_date_time_unref);
    const GText text(soup_date_time_to_string(date.get(), SOUP_DATE_HTTP));
    return std::string(cookieName) + "=" + value +
           "; Path=/; HttpOnly; Secure; SameSite=Lax; Expires=" + text.get();
}

} // namespace

Account* SignedIn::account(const Request& request) const {
    const auto token = request.cookie(cookieName);
    const auto username = token ? state_.sessions.username(*token, now_()) : std::nullopt;
    return username ? state_.accounts.find(*username) : nullptr;
}

Account& SignedIn::require(const Request& request) const {
    Account* found = account(request);
    if (!found)
        throw Refusal(401, "Please sign in.");
    return *found;
}

void SignedIn::open(Answer& answer, const Account& account) {
    const Clock::time_point now = now_();
    const std::string token = state_.sessions.open(account.username, now);
    answer.headers.emplace_back("Set-Cookie", cookieHeader(token, now + Sessions::lifetime));
}

void SignedIn::close(Answer& answer, const Request& request) {
    if (const auto token = request.cookie(cookieName))
        state_.sessions.close(*token);
    answer.headers.emplace_back("Set-Cookie", cookieHeader("", Clock::time_point()));
}

} // namespace Demo
