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

#include <gmock/gmock.h>

namespace {

/// What the fakes of the logic's tests promise, the adapters keep. Of each: how a request is answered, how a
/// cookie comes into the jar, and how the preferences can no longer be written.
struct Fakes {
    FakeHttpClient client;
    FakeCookieJar jar;
    FakeUserDefaults defaults;

    Url at(const char* path) const { return Url::parse("https://brisko.example")->appendingPath(path); }
    void answer(int status, const std::string& body) { client.answer(status, body); }
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
    static Cookie cookie(std::string name, std::string domain, std::string path = "/") {
        return {.name = name,
                .value = "value of " + name,
                .domain = std::move(domain),
                .path = std::move(path),
                .expires = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()) +
                           std::chrono::hours(24),
                .sameSite = Cookie::SameSite::lax};
    }
    std::vector<Cookie> cookiesFor(const char* url) const { return kind.jar.cookiesFor(*Url::parse(url)); }
};

using Kinds = testing::Types<Fakes, Adapters>;
TYPED_TEST_SUITE(PlatformContract, Kinds);

} // namespace

TYPED_TEST(PlatformContract, handsTheWholeReplyOutAndEndsAStoppedRequestAndNoOther) {
    std::stop_source stop;
    const auto stopped = this->get(stop.get_token());
    const auto other = this->get();
    stop.request_stop();
    for (const auto& request : {stopped, this->get(stop.get_token())}) // that is stopped before it begins
        try {
            MainLoop::finish(request);
            ADD_FAILURE() << "it was answered";
        } catch (const TransportError& failure) {
            EXPECT_EQ(failure.reason(), TransportError::Reason::cancelled);
        }
    EXPECT_FALSE(other->ended());
    this->kind.answer(503, std::string("a\0b", 3));
    const auto reply = MainLoop::finish(other);
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.body, std::string("a\0b", 3));
}

TYPED_TEST(PlatformContract, listsTheCookiesOfARequestTheLongestPathFirstAndRemovesOneWhateverItsValue) {
    auto sealed = this->cookie("sealed", ".brisko.example");
    sealed.secure = sealed.httpOnly = true;
    sealed.sameSite = Cookie::SameSite::strict;
    auto passing = this->cookie("deep", "brisko.example", "/api/auth");
    passing.expires.reset();
    for (const auto& each : {this->cookie("host", "brisko.example"), this->cookie("foreign", "other.example"),
                             this->cookie("deep", "brisko.example"), sealed, passing})
        this->kind.put(each);
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"https://brisko.example:8443", {"deep", "host", "sealed"}},
        {"http://brisko.example/", {"deep", "host"}},
        {"https://brisko.example/api/auth/login?x=1", {"deep", "deep", "host", "sealed"}},
        {"https://brisko.example/api/authority", {"deep", "host", "sealed"}},
        {"https://notbrisko.example/", {}},
    };
    for (const auto& [url, expected] : cases) {
        std::vector<std::string> names;
        for (const auto& each : this->cookiesFor(url))
            names.push_back(each.name);
        EXPECT_THAT(names, testing::UnorderedElementsAreArray(expected)) << url;
    }
    EXPECT_EQ(this->cookiesFor("https://brisko.example/api/auth").front(), passing);
    EXPECT_EQ(this->cookiesFor("https://sub.brisko.example/"), std::vector{sealed});
    passing.value = sealed.value = "changed meanwhile";
    this->kind.jar.replace(sealed);
    this->kind.jar.replace(this->cookie("missing", "brisko.example"));
    EXPECT_EQ(this->cookiesFor("https://sub.brisko.example/"), std::vector{sealed});
    sealed.value = "changed again";
    this->kind.jar.remove(sealed);
    this->kind.jar.remove(passing);
    EXPECT_EQ(this->cookiesFor("https://brisko.example/api/auth").size(), 2U) << "of other names and paths";
}

TYPED_TEST(PlatformContract, givesEveryPreferenceBackWithItsTypeAndChangesSeveralAsOneOrNone) {
    auto& defaults = this->kind.defaults;
    for (const Json& value :
         {Json(true), Json(INT64_MIN), Json(1.0), Json(std::string("Zoë \"\\ \n\x7f 😀\0b", 17)),
          Json::array({1, "two", nullptr})}) {
        defaults.set("gone", value);
        EXPECT_EQ(defaults.value("gone"), value);
        EXPECT_EQ(defaults.value("gone").type(), value.type()) << value;
    }
    defaults.remove("gone");
    const auto all = [&] {
        return Json::array({defaults.value("kept"), defaults.value("gone"), defaults.value("new")}).dump();
    };
    defaults.set("kept", "kept");
    defaults.update({{"kept", "again"}, {"missing", Json()}, {"new", 2.5}});
    EXPECT_EQ(all(), R"(["again",null,2.5])");
    this->kind.failWhile([&] { EXPECT_THROW(defaults.update({{"kept", Json()}, {"new", 3}}), Error); });
    EXPECT_EQ(all(), R"(["again",null,2.5])");
}
