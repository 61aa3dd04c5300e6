#include "account/linux/DurableCookieJar.h"
#include "account/linux/SoupCookies.h"
#include "account/linux/SoupHttpClient.h"
#include "fakes/FakePlatform.h"
#include "linux/FullDisk.h"
#include "linux/MainLoop.h"
#include "linux/MisbehavingService.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/JsonUserDefaults.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>

namespace {

/// What the fakes of the logic's tests promise, the adapters keep. Of each: how a request is answered, how a
/// cookie comes into the jar, and how the preferences can no longer be written.
struct Fakes {
    FakeHttpClient client;
    FakeCookieJar jar;
    FakeUserDefaults defaults;

    Url at(const char* path) const { return Url::parse("https://brisko.example")->appendingPath(path); }
    void answer(int status, const std::string& body) {
        while (client.pending.front()->reply.settled())
            client.take();
        client.answer(status, body);
    }
    void put(const Cookie& cookie) { jar.cookies.push_back(cookie); }
    void failWhile(const std::function<void()>& action) {
        defaults.broken = true;
        action();
        defaults.broken = false;
    }
};

struct Adapters {
    TemporaryFolder folder{"brisko-contract"};
    MisbehavingService service{{"", MisbehavingService::End::stands}};
    DurableCookieJar jar{folder.path() / "cookies.json"};
    SoupHttpClient client{jar, trusted()};
    JsonUserDefaults defaults{folder.path() / "preferences.json"};

    Url at(const char* path) const { return service.at(path); }
    void answer(int status, const std::string& body) {
        service.add(MisbehavingService::reply(std::to_string(status) + " Status", "", body).bytes);
    }
    void put(const Cookie& cookie) { soup_cookie_jar_add_cookie(jar.jar(), toSoup(cookie).release()); }
    void failWhile(const std::function<void()>& action) {
        const FullDisk full;
        action();
    }

private:
    std::filesystem::path trusted() const {
        DurableFile::write(folder.path() / "trusted.pem", service.certificate());
        return folder.path() / "trusted.pem";
    }
};

template <class Kind>
class PlatformContract : public testing::Test {
protected:
    Kind kind;

    std::shared_ptr<Outcome<HttpReply>> get(std::stop_token stop = {}) {
        return begin(kind.client.send(HttpRequest(kind.at("api/auth/captcha")), std::move(stop)));
    }
    static bool isCancelled(const std::shared_ptr<Outcome<HttpReply>>& outcome) {
        try {
            MainLoop::finish(outcome);
        } catch (const TransportError& failure) {
            return failure.reason() == TransportError::Reason::cancelled;
        }
        return false;
    }

    static Cookie cookie(std::string name, std::string domain, std::string path = "/") {
        Cookie result;
        result.name = std::move(name);
        result.value = "value of " + result.name;
        result.domain = std::move(domain);
        result.path = std::move(path);
        result.sameSite = Cookie::SameSite::lax;
        result.expires = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()) +
                         std::chrono::hours(24);
        return result;
    }
    std::vector<Cookie> cookiesFor(const char* url) const { return kind.jar.cookiesFor(*Url::parse(url)); }
};

using Kinds = testing::Types<Fakes, Adapters>;
TYPED_TEST_SUITE(PlatformContract, Kinds);

} // namespace

TYPED_TEST(PlatformContract, handsTheWholeReplyOutAndTakesALaterStopForNothing) {
    std::stop_source stop;
    const auto request = this->get(stop.get_token());
    EXPECT_FALSE(request->ended());
    this->kind.answer(503, std::string("a\0b", 3));
    const auto reply = MainLoop::finish(request);
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.body, std::string("a\0b", 3));
    EXPECT_TRUE(stop.request_stop());
}

TYPED_TEST(PlatformContract, endsAStoppedRequestAndNoOther) {
    std::stop_source stop;
    const auto stopped = this->get(stop.get_token());
    const auto other = this->get();
    stop.request_stop();
    EXPECT_TRUE(this->isCancelled(stopped));
    EXPECT_TRUE(this->isCancelled(this->get(stop.get_token()))) << "stopped before it begins";
    EXPECT_FALSE(other->ended());
    this->kind.answer(200, "{}");
    EXPECT_EQ(MainLoop::finish(other).body, "{}");
}

TYPED_TEST(PlatformContract, listsTheCookiesThatARequestWouldCarryWithTheLongestPathFirst) {
    for (const auto& [name, domain, path] : {std::tuple("host", "brisko.example", "/"),
                                             {"below", ".brisko.example", "/"},
                                             {"deep", "brisko.example", "/api/auth"},
                                             {"foreign", "other.example", "/"}})
        this->kind.put(this->cookie(name, domain, path));
    auto sealed = this->cookie("sealed", "brisko.example");
    sealed.secure = true;
    this->kind.put(sealed);
    using Names = std::set<std::string>;
    const std::pair<const char*, Names> cases[] = {
        {"https://brisko.example:8443", {"below", "host", "sealed"}},
        {"http://brisko.example/", {"below", "host"}},
        {"https://brisko.example/api/auth", {"below", "deep", "host", "sealed"}},
        {"https://brisko.example/api/auth/login?x=1", {"below", "deep", "host", "sealed"}},
        {"https://brisko.example/api/authority", {"below", "host", "sealed"}},
        {"https://sub.brisko.example/", {"below"}},
        {"https://notbrisko.example/", {}},
        {"relative", {}},
    };
    for (const auto& [url, expected] : cases) {
        const auto found = this->cookiesFor(url);
        Names names;
        for (const auto& each : found)
            names.insert(each.name);
        EXPECT_EQ(names, expected) << url;
        EXPECT_TRUE(!names.contains("deep") || found.front().name == "deep") << url;
    }
}

TYPED_TEST(PlatformContract, givesEveryPropertyOfACookieBackAndRemovesItWhateverItsValue) {
    auto given = this->cookie("brisko_session", ".brisko.example", "/app");
    given.secure = given.httpOnly = true;
    given.sameSite = Cookie::SameSite::strict;
    auto passing = this->cookie("brisko_session", "brisko.example");
    passing.expires.reset();
    for (const auto& each : {given, passing, this->cookie("brisko_session", "brisko.example", "/app/x")})
        this->kind.put(each);
    EXPECT_EQ(this->cookiesFor("https://brisko.example/app"), (std::vector{given, passing}));
    auto changed = given;
    changed.value = "changed meanwhile";
    this->kind.jar.remove(changed);
    EXPECT_EQ(this->cookiesFor("https://brisko.example/app"), std::vector{passing});
    this->kind.jar.remove(passing);
    EXPECT_EQ(this->cookiesFor("https://brisko.example/app/x").size(), 1U);
}

TYPED_TEST(PlatformContract, givesEveryPreferenceBackWithItsType) {
    for (const Json& value : {Json(true), Json(std::numeric_limits<std::int64_t>::min()),
                              Json(std::numeric_limits<std::uint64_t>::max()), Json(1.0), Json(0.1), Json(""),
                              Json("Zoë \"\\ \n\x7f 😀"), Json(std::string("a\0b", 3)),
                              Json::array({1, "two", nullptr}), Json{{"nested", Json{{"key", false}}}}}) {
        this->kind.defaults.set("brisko.value", value);
        const auto stored = this->kind.defaults.value("brisko.value");
        EXPECT_EQ(stored, value);
        EXPECT_STREQ(stored.type_name(), value.type_name());
        EXPECT_EQ(stored.is_number_float(), value.is_number_float()) << value;
    }
}

TYPED_TEST(PlatformContract, changesSeveralPreferencesAsOneOrNone) {
    auto& defaults = this->kind.defaults;
    const auto expect = [&](const Json& kept, const Json& gone, const Json& added) {
        EXPECT_EQ(Json::array({defaults.value("brisko.kept"), defaults.value("brisko.gone"),
                               defaults.value("brisko.new")}),
                  Json::array({kept, gone, added}));
    };
    defaults.set("brisko.kept", "kept");
    defaults.set("brisko.gone", 1);
    defaults.update({{"brisko.gone", Json()}, {"brisko.missing", Json()}, {"brisko.new", 2.5}});
    expect("kept", Json(), 2.5);
    this->kind.failWhile([&] {
        EXPECT_THROW(defaults.update({{"brisko.kept", Json()}, {"brisko.new", 3}}), Error);
        EXPECT_THROW(defaults.set("brisko.kept", "after"), Error);
        EXPECT_THROW(defaults.remove("brisko.kept"), Error);
        expect("kept", Json(), 2.5);
    });
    expect("kept", Json(), 2.5);
    defaults.remove("brisko.kept");
    defaults.remove("brisko.kept");
    expect(Json(), Json(), 2.5);
}
