#include "account/linux/DurableCookieJar.h"
#include "account/linux/SoupCookies.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace {

struct Fake {
    FakeCookieJar jar;

    void put(const Cookie& cookie) { jar.cookies.push_back(cookie); }
};

struct File {
    TemporaryFolder folder{"brisko-cookies"};
    DurableCookieJar jar{folder.path() / "cookies.json"};

    void put(const Cookie& cookie) { soup_cookie_jar_add_cookie(jar.jar(), toSoup(cookie).release()); }
};

template <class Kind>
class CookieJarContract : public testing::Test {
protected:
    Kind kind;
    CookieJar& jar = kind.jar;

    static Cookie cookie(std::string name, std::string domain, std::string path = "/", bool secure = false) {
        Cookie result;
        result.name = std::move(name);
        result.value = "value of " + result.name;
        result.domain = std::move(domain);
        result.path = std::move(path);
        result.secure = secure;
        result.sameSite = Cookie::SameSite::lax;
        result.expires = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()) +
                         std::chrono::hours(24);
        return result;
    }
    /// Sorted, since nothing is promised of cookies with paths of one length.
    std::string namesFor(const char* url) const {
        std::vector<std::string> found;
        auto length = std::numeric_limits<std::size_t>::max();
        for (const auto& listed : jar.cookiesFor(*Url::parse(url))) {
            EXPECT_LE(listed.path.size(), length) << url;
            length = listed.path.size();
            found.push_back(listed.name);
        }
        std::sort(found.begin(), found.end());
        std::string names;
        for (const auto& name : found)
            names += (names.empty() ? "" : " ") + name;
        return names;
    }
};

using Kinds = testing::Types<Fake, File>;
TYPED_TEST_SUITE(CookieJarContract, Kinds);

} // namespace

TYPED_TEST(CookieJarContract, listsTheCookiesThatARequestWouldCarry) {
    this->kind.put(this->cookie("host", "brisko.example"));
    this->kind.put(this->cookie("below", ".brisko.example"));
    this->kind.put(this->cookie("deep", "brisko.example", "/api/auth"));
    this->kind.put(this->cookie("sealed", "brisko.example", "/", true));
    this->kind.put(this->cookie("foreign", "other.example"));
    const std::pair<const char*, const char*> cases[] = {
        {"https://brisko.example", "below host sealed"},
        {"https://brisko.example:8443/", "below host sealed"},
        {"http://brisko.example/", "below host"},
        {"https://brisko.example/api/auth", "below deep host sealed"},
        {"https://brisko.example/api/auth/login?x=1", "below deep host sealed"},
        {"https://brisko.example/api/authority", "below host sealed"},
        {"https://sub.brisko.example/", "below"},
        {"https://notbrisko.example/", ""},
        {"https://example/", ""},
        {"relative", ""},
    };
    for (const auto& [url, names] : cases)
        EXPECT_EQ(this->namesFor(url), names) << url;
}

TYPED_TEST(CookieJarContract, givesEveryPropertyBack) {
    auto given = this->cookie("brisko_session", ".brisko.example", "/app", true);
    given.httpOnly = true;
    given.sameSite = Cookie::SameSite::strict;
    this->kind.put(given);
    EXPECT_EQ(this->jar.cookiesFor(*Url::parse("https://brisko.example/app")), std::vector<Cookie>{given});
    auto passing = this->cookie("passing", "brisko.example");
    passing.expires.reset();
    this->kind.put(passing);
    EXPECT_EQ(this->jar.cookiesFor(*Url::parse("https://brisko.example/")), std::vector<Cookie>{passing});
}

TYPED_TEST(CookieJarContract, removesTheCookieOfThatNameDomainAndPathWhateverItsValue) {
    this->kind.put(this->cookie("a", "brisko.example"));
    this->kind.put(this->cookie("a", ".brisko.example"));
    this->kind.put(this->cookie("a", "brisko.example", "/app"));
    this->kind.put(this->cookie("b", "brisko.example"));
    auto cookie = this->cookie("a", "brisko.example");
    cookie.value = "changed meanwhile";
    this->jar.remove(cookie);
    this->jar.remove(this->cookie("missing", "brisko.example"));
    const auto left = this->jar.cookiesFor(*Url::parse("https://brisko.example/app"));
    ASSERT_EQ(left.size(), 3U);
    EXPECT_EQ(left[0].path, "/app");
    for (const auto& kept : left)
        this->jar.remove(kept);
    EXPECT_TRUE(this->jar.cookiesFor(*Url::parse("https://brisko.example/app")).empty());
}
