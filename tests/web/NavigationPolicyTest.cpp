#include "web/NavigationPolicy.h"

#include <gtest/gtest.h>

namespace {

using NavigationDecision::Verdict;

Verdict decide(const std::string& url, bool performsDownload = false) {
    return NavigationDecision::decide(NavigationAction{url, performsDownload}, "brisko.example");
}

} // namespace

TEST(NavigationPolicy, keepsTheServiceInTheShellAndSendsOtherPagesToTheBrowser) {
    for (const auto* url :
         {"", "about:blank", "blob:https://elsewhere.example/1", "data:text/html,<b>//elsewhere.example</b>",
          "file:///login", "http://brisko.example:8080/x", "https://notbrisko.example/",
          "HTTPS://elsewhere.example/", "ftp://elsewhere.example/"})
        EXPECT_EQ(decide(url), Verdict::allow) << url;
    for (const std::string path : {"login?next=%2F", "/%6Cogin#x", "en//login/", "%C3%A9n/login"}) {
        EXPECT_EQ(decide("https://app.brisko.example/" + path), Verdict::signedOut) << path;
        EXPECT_EQ(decide("other://brisko.example/" + path), Verdict::signedOut) << path;
        EXPECT_EQ(decide("https://brisko.example/" + path, true), Verdict::download) << path;
    }
    for (const std::string path : {"eng/login", "e/login", "%C3%A9/login", "login/login", "en/login/x",
                                   "x/en/login", "Login", "?next=/login", ""})
        EXPECT_EQ(decide("https://brisko.example/" + path), Verdict::allow) << path;
    for (const auto* url :
         {"https://elsewhere.example/login", "http://elsewhere.example",
          "https://brisko.example.elsewhere.example/", "https://brisko.example@elsewhere.example/"})
        EXPECT_EQ(decide(url), Verdict::openInBrowser) << url;
}

TEST(NavigationPolicy, isNotMisledByCharactersThatEnginesLeaveBare) {
    for (const std::string rest : {"?a[x]=1|b", "?q=100%", "?q=%zz%4", "#a#b", "?a={x}^`\\\"<>\xC3\xA9 "}) {
        EXPECT_EQ(decide("https://[::1]:8443/x[1]" + rest), Verdict::openInBrowser) << rest;
        EXPECT_EQ(decide("https://brisko.example/login" + rest), Verdict::signedOut) << rest;
    }
    EXPECT_EQ(NavigationDecision::address("https://[::1]/[a]?%41%4|#x#")->text(),
              "https://[::1]/%5Ba%5D?%41%254%7C#x%23");
}
