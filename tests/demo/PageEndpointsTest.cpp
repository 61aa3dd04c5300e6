#include "TestService.h"

#include <gmock/gmock.h>

#include <regex>
#include <set>

using namespace Demo;
using ::testing::HasSubstr;

namespace {

class PageEndpoints : public ServiceTest {};

TEST_F(PageEndpoints, taskPageIsForWhoeverIsSignedIn) {
    const Response out = client().get("/?new=1");
    EXPECT_EQ(out.status, 303u);
    EXPECT_EQ(out.header("location"), "/login");
    EXPECT_EQ(client().get("/login").status, 200u);

    const std::string cookie = client().signIn();
    EXPECT_EQ(client().get("/login", cookie).header("location"), "/");
    client().patch("/api/settings", {{"theme", "pine"}}, cookie);
    const Response page = client().get("/?new=1", cookie);
    EXPECT_EQ(page.status, 200u);
    EXPECT_THAT(page.body, HasSubstr(R"(data-theme="pine")"));
    EXPECT_THAT(page.body, HasSubstr("<title>brisko</title>"));
}

/// The addresses on this service that a page, style or script refers to.
std::set<std::string> references(const std::string& text) {
    static const std::regex pattern(R"re((?:src|href|action|from)[= ]"(/[^"?]*))re");
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern); match != std::sregex_iterator();
         ++match)
        found.insert((*match)[1]);
    return found;
}

TEST_F(PageEndpoints, everythingThatAPageRefersToIsThere) {
    const std::string cookie = client().signIn();
    std::set<std::string> seen;
    std::set<std::string> next = {"/", "/login", "/privacy", "/guides", "/changelog", "/api/auth/google"};
    while (!next.empty()) {
        const std::string path = *next.begin();
        next.erase(next.begin());
        if (!seen.insert(path).second)
            continue;
        const Response response = client().get(path, path == "/login" ? "" : cookie);
        EXPECT_EQ(response.status, 200u) << path;
        next.merge(references(response.body));
    }
    EXPECT_GE(seen.size(), 20u);
    EXPECT_TRUE(seen.contains("/spotlight.js"));
}

TEST_F(PageEndpoints, pagesToReadAreForEverybodyAndFollowTheBrowsersColours) {
    for (const char* page : {"/guides", "/privacy", "/changelog"}) {
        const Response response = client().get(page);
        EXPECT_EQ(response.status, 200u) << page;
        EXPECT_THAT(response.body, HasSubstr(R"(data-theme="system")")) << page;
        for (const char* other : {"/guides", "/privacy", "/changelog"})
            EXPECT_TRUE(references(response.body).contains(other)) << page << other;
    }
}

TEST_F(PageEndpoints, scriptsAndStylesComeWithTheTypesThatBrowsersInsistOn) {
    EXPECT_EQ(client().get("/app.js").header("content-type"), "text/javascript; charset=utf-8");
    EXPECT_EQ(client().get("/app.css").header("content-type"), "text/css; charset=utf-8");
    EXPECT_EQ(client().get("/icon.svg").header("content-type"), "image/svg+xml");
    EXPECT_EQ(client().get("/privacy").header("content-type"), "text/html; charset=utf-8");
}

TEST_F(PageEndpoints, everyAnswerIsUncachedAndMayLoadNothingFromElsewhere) {
    for (const char* path : {"/login", "/nothing", "/api/settings", "/api/auth/captcha", "/"}) {
        const Response response = client().get(path);
        EXPECT_EQ(response.header("cache-control"), "no-store") << path;
        EXPECT_EQ(response.header("x-content-type-options"), "nosniff") << path;
        EXPECT_THAT(response.header("content-security-policy"), HasSubstr("default-src 'self'")) << path;
        EXPECT_EQ(response.header("set-cookie"), "") << path;
    }
}

TEST_F(PageEndpoints, unknownAddressesAndMethodsAreToldApart) {
    EXPECT_THAT(client().get("/nothing").body, HasSubstr("There is nothing here"));
    for (const char* path : {"/nothing", "/login/", "//", "/../etc/passwd", "/login.html", "/api"})
        EXPECT_EQ(client().get(path).status, 404u) << path;
    EXPECT_NE(client().get("/api/nothing").error(), "");

    const Response wrong = client().send("PUT", "/api/tasks", "{}", client().signIn());
    EXPECT_EQ(wrong.status, 405u);
    EXPECT_EQ(wrong.header("allow"), "GET, POST");
    EXPECT_EQ(client().get("/api/auth/login").status, 405u);
    EXPECT_EQ(client().send("POST", "/login", "").status, 405u);

    const Response head = client().send("HEAD", "/login", "");
    EXPECT_EQ(head.status, 200u);
    EXPECT_EQ(head.body, "");
}

TEST_F(PageEndpoints, requestsMadeByOtherSitesAreRefused) {
    const std::string cookie = client().signIn();
    const auto add = [&](const std::string& origin) {
        return client().send("POST", "/api/tasks", R"({"title": "x"})", cookie, {{"Origin", origin}}).status;
    };
    EXPECT_EQ(add(client().origin()), 201u);
    EXPECT_EQ(add("https://elsewhere.example"), 403u);
    EXPECT_EQ(add("null"), 403u);
    EXPECT_EQ(add("http" + client().origin().substr(5)), 403u);
}

TEST_F(PageEndpoints, longBodiesAreRefusedHoweverTheyAreSent) {
    const std::string cookie = client().signIn();
    for (const Framing framing : {Framing::contentLength, Framing::chunked}) {
        const std::string notes = R"({"title": "x", "notes": ")" + std::string(70'000, 'x') + "\"}";
        EXPECT_EQ(client().send("POST", "/api/tasks", notes, cookie, {}, framing).status, 413u);
        EXPECT_EQ(client().send("POST", "/api/tasks", R"({"title": "x"})", cookie, {}, framing).status, 201u);
        EXPECT_EQ(client().send("POST", "/api/tasks/import", notes, cookie, {}, framing).status, 400u);
        const std::string longer(2'200'000, ' ');
        EXPECT_EQ(client().send("POST", "/api/tasks/import", longer, cookie, {}, framing).status, 413u);
    }
}

} // namespace
