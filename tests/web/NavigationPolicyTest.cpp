#include "web/NavigationPolicy.h"

#include "web/OpenedUrl.h"

#include <gtest/gtest.h>

namespace {

using NavigationDecision::Verdict;

Verdict decide(const std::string& url, bool performsDownload = false) {
    return NavigationDecision::decide(NavigationAction{url, performsDownload}, "brisko.example");
}

} // namespace

TEST(NavigationPolicy, knowsTheSignInPage) {
    for (const auto* path : {"/login", "login", "//login", "/en/login", "en//login/", "/\xC3\xA9n/login"})
        EXPECT_TRUE(NavigationDecision::isSignIn(path)) << path;
    for (const auto* path : {"/eng/login", "/e/login", "/\xC3\xA9/login", "/login/x", "/login/login",
                             "/en/login/x", "/x/en/login", "/Login", "/logins", "/", ""})
        EXPECT_FALSE(NavigationDecision::isSignIn(path)) << path;
}

TEST(NavigationPolicy, keepsTheServiceInTheShellAndSendsOtherPagesToTheBrowser) {
    for (const auto* url :
         {"", "about:blank", "mailto:ann@elsewhere.example", "blob:https://elsewhere.example/1",
          "data:text/html,<b>//elsewhere.example</b>", "file:///login", "https://brisko.example/?next=/login",
          "http://brisko.example:8080/x", "https://app.brisko.example/tasks", "https://notbrisko.example/",
          "HTTPS://elsewhere.example/", "ftp://elsewhere.example/", "other://run/1"})
        EXPECT_EQ(decide(url), Verdict::allow) << url;
    for (const auto* url : {"https://brisko.example/login?next=%2F", "https://brisko.example/%6Cogin#x",
                            "https://brisko.example/%C3%A9n/login", "https://app.brisko.example/de/login/",
                            "other://brisko.example/login"}) {
        EXPECT_EQ(decide(url), Verdict::signedOut) << url;
        EXPECT_EQ(decide(url, true), Verdict::download) << url;
    }
    for (const auto* url :
         {"https://elsewhere.example/login", "http://elsewhere.example", "https://[::1]:8443/",
          "https://brisko.example.elsewhere.example/", "https://brisko.example@elsewhere.example/"})
        EXPECT_EQ(decide(url), Verdict::openInBrowser) << url;
}

TEST(NavigationPolicy, isNotMisledByCharactersThatEnginesLeaveBare) {
    for (const std::string rest :
         {"?a[x]=1", "?f=a|b", "?q=100%", "?q=%zz%4", "#a#b", "?a={x}^`\\\"<>", "?\xC3\xA9", "? "}) {
        EXPECT_EQ(decide("https://elsewhere.example/x[1]" + rest), Verdict::openInBrowser) << rest;
        EXPECT_EQ(decide("https://[::1]:8443" + rest), Verdict::openInBrowser) << rest;
        EXPECT_EQ(decide("https://brisko.example/login" + rest), Verdict::signedOut) << rest;
    }
    EXPECT_EQ(NavigationDecision::address("https://[::1]/[a]?%41%4|#x#")->text(),
              "https://[::1]/%5Ba%5D?%41%254%7C#x%23");
}

TEST(OpenedUrl, standsForAPageByItsHostAlone) {
    for (const auto& [url, path] :
         {std::pair("brisko://new", "/?new=1"), std::pair("brisko://today/", "/"),
          std::pair("brisko://search?q=x#y", "/?search=1"), std::pair("other://user@new:1/login", "/?new=1")})
        EXPECT_EQ(OpenedUrl::servicePath(url), path) << url;
    for (const auto* url : {"brisko://New", "brisko://news", "brisko:new", "brisko:///new", "%", ""})
        EXPECT_EQ(OpenedUrl::servicePath(url), std::nullopt) << url;
}
