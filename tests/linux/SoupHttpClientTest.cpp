#include "account/linux/SoupHttpClient.h"

#include "account/linux/DurableCookieJar.h"
#include "account/linux/SoupExchange.h"
#include "linux/MainLoop.h"
#include "linux/MisbehavingService.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/LazyHttpClient.h"
#include "platform/linux/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace {

using namespace std::literals;
using namespace testing;
using enum MisbehavingService::End;
using Answer = MisbehavingService::Answer;
using Pending = std::shared_ptr<Outcome<HttpReply>>;

constexpr auto reply = MisbehavingService::reply;
const std::string ok = "HTTP/1.1 200 OK\r\n";

/// The client and its jar, made as the program makes them, at a service that does whatever the test says.
class SoupHttpClientTest : public testing::Test {
protected:
    TemporaryFolder folder{"brisko-http"};
    MisbehavingService service{reply("200 OK", "", "hello")};
    const std::filesystem::path file = folder.path() / "jar" / "cookies.json";
    DurableCookieJar jar{file};
    std::string trusted = service.certificate();
    LazyHttpClient client{[this] { return std::make_unique<SoupHttpClient>(jar, pem(trusted)); }};

    std::filesystem::path pem(const std::string& content) const {
        DurableFile::write(folder.path() / "trusted.pem", content);
        return folder.path() / "trusted.pem";
    }
    HttpRequest request(std::string_view path, std::chrono::milliseconds timeout = 60s) const {
        HttpRequest result(service.at(path));
        result.timeout = timeout;
        return result;
    }
    Pending start(std::string_view path, std::stop_token stop = {}) {
        return begin(client.send(request(path), std::move(stop)));
    }
    /// How a request ends: its status and its body, or why it has failed.
    static std::string told(const Pending& outcome) {
        try {
            const auto [status, body] = MainLoop::finish(outcome);
            return (status ? std::to_string(*status) : "no status") + " " +
                   (body.size() > 20 ? std::to_string(body.size()) + " bytes" : body);
        } catch (const TransportError& failure) {
            constexpr const char* reasons[] = {"cancelled", "timed out", "untrusted", "other"};
            return reasons[static_cast<std::size_t>(failure.reason())];
        }
    }
    std::string send(HttpRequest given) { return told(begin(client.send(std::move(given), {}))); }
    std::string get(std::string_view path = "") { return send(request(path)); }
    std::string post() {
        auto posted = request("from");
        posted.method = "POST";
        posted.headers.emplace_back("Content-Type", "application/json");
        posted.body = "{Zoë}";
        return send(std::move(posted));
    }
    static std::string cookie(const std::string& name) {
        return "Set-Cookie: " + name + "=1; Max-Age=3600; Path=/\r\n";
    }
    /// What the next start finds for the service's origin, even if this process is killed now.
    std::string namesOnDisk() const {
        std::string names;
        for (const auto& kept : DurableCookieJar(file).cookiesFor(service.origin))
            names += (names.empty() ? "" : " ") + kept.name;
        return names;
    }
};

} // namespace

TEST_F(SoupHttpClientTest, sendsWhatItIsGivenAndFollowsRedirectionsAsTheirStatusAsksButNeverInClear) {
    service.behave(reply("200 OK", "Set-Cookie: a=1; Path=/\r\nSet-Cookie: b=2; Path=/\r\n", "{}"));
    EXPECT_EQ(post(), "200 {}");
    const auto typed = HasSubstr("\r\nContent-Type: application/json\r\n");
    const auto posted = AllOf(Not(HasSubstr("\r\nUser-Agent:")), typed, EndsWith("\r\n\r\n{Zoë}"));
    EXPECT_THAT(service.requests.back(), AllOf(StartsWith("POST /from HTTP/1.1\r\n"), posted));
    for (const std::string status : {"301 Moved", "302 Found", "303 See", "307 Temporary", "308 Permanent"}) {
        service.behaviour = [&](const std::string& request) {
            return request.find(" /to ") == std::string::npos ? reply(status, "Location: /to\r\n", "there")
                                                              : reply("200 OK", "", "here");
        };
        EXPECT_EQ(post(), "200 here") << status;
        const auto& last = service.requests.back();
        EXPECT_THAT(last, HasSubstr("\r\nCookie: a=1; b=2\r\n"));
        if (status < "307")
            EXPECT_THAT(last, AllOf(StartsWith("GET /to "), EndsWith("\r\n\r\n"), Not(typed)));
        else
            EXPECT_THAT(last, AllOf(StartsWith("POST /to "), posted));
    }
    const auto clear = "http" + service.origin.text().substr(std::string("https").size());
    for (const auto& [target, why] : {std::pair(clear, "Not a secure address: " + clear + "."),
                                      {"https://"s, "Not a secure address: https://."s},
                                      {"/again"s, "The service redirects without end."s}}) {
        service.behave(reply("307 Temporary", "Location: " + target + "\r\n", ""));
        const auto failed = start("from");
        EXPECT_EQ(told(failed), "other") << target;
        EXPECT_EQ(failed->message(), why);
    }
    MisbehavingService elsewhere(reply("200 OK", "", ""));
    service.behave(reply("307 Temporary", "Location: " + elsewhere.origin.text() + "/\r\n", ""));
    EXPECT_EQ(post(), "other");
    EXPECT_TRUE(elsewhere.requests.empty()) << "what is posted is for the service alone";
}

TEST_F(SoupHttpClientTest, endsEachBadDayAsWhatItIsWithTheCookiesOfEveryReplyOnDisk) {
    service.behaviour = [](const std::string& request) {
        if (request.starts_with("GET /first "))
            return reply("302 Found", cookie("a") + "Location: /next\r\n", "");
        if (request.starts_with("GET /next "))
            return reply("401 No", cookie("b"), "{}");
        return Answer{ok + cookie("c") + "Content-Length: 10\r\n\r\nshort"};
    };
    EXPECT_EQ(get("first") + ": " + namesOnDisk(), "401 {}: a b");
    EXPECT_EQ(get("third") + ": " + namesOnDisk(), "other: a b c");
    const auto zipped =
        std::string("\x1f\x8b\x08\0\0\0\0\0\0\x03\xab\xae\x05\0\x43\xbf\xa6\xa3\x02\0\0\0", 22);
    const std::pair<const char*, Answer> days[] = {
        {"200 8000000 bytes", reply("200 OK", "", std::string(8'000'000, '?'))},
        {"200 {}", reply("200 OK", "Content-Encoding: gzip\r\n", zipped)},
        {"other", {ok + "Content-Length: 10\r\nConnection: close\r\n\r\n{}"}},
        {"other", {ok + "Content-Length: 10\r\n\r\n{}", breaks}},
        {"other", {ok + "\r\n" + std::string(SoupExchange::maximumBody + 1, 'x')}},
        {"other", {"", breaks}},
    };
    for (const auto& [end, answer] : days) {
        service.behave(answer);
        EXPECT_EQ(get() + ": " + namesOnDisk(), std::string(end) + ": a b c") << answer.bytes.substr(0, 100);
    }
}

TEST_F(SoupHttpClientTest, trustsTheGivenCertificateAndNoOther) {
    trusted = "no certificate";
    EXPECT_THROW(get(), Error);
    trusted = service.certificate();
    EXPECT_EQ(get(), "200 hello");
    const MisbehavingService stranger({});
    EXPECT_EQ(send(HttpRequest(stranger.origin)), "untrusted");
    EXPECT_TRUE(stranger.requests.empty());
}

TEST_F(SoupHttpClientTest, failsOnceNothingHasArrivedForTheGivenTimeHoweverLongAllOfItTakes) {
    constexpr auto half = 1500ms;
    MisbehavingService slow({"", stands});
    trusted += slow.certificate();
    auto asked = request("", 2 * half);
    service.behave({ok + "Content-Length: 10\r\n\r\nhalf", stands});
    asked.url = slow.origin;
    const auto waiting = begin(client.send(asked, {}));
    MainLoop::runUntil([&] { return slow.requests.size() == 1; });
    slow.add(ok + "Content-Length: 2\r\n\r\n");
    const auto silent = begin(client.send(request("half-a-body", 2 * half), {}));
    EXPECT_EQ(send(request("half-a-body", half)), "timed out");
    slow.add("a");
    EXPECT_EQ(told(silent), "timed out");
    slow.add("b");
    EXPECT_EQ(told(waiting), "200 ab");
    service.behave({ok + "Content-Le", stands});
    EXPECT_EQ(send(request("half-a-head", 150ms)), "timed out");
}

namespace {

/// Somebody who, whatever happens, asks again: the last time after the client has ended.
Task<int> insist(HttpClient* client, Url url) {
    int cancelled = 0;
    for (int attempt = 0; attempt < 3; ++attempt)
        try {
            co_await client->send(HttpRequest(url), {});
        } catch (const TransportError& failure) {
            cancelled += failure.reason() == TransportError::Reason::cancelled ? 1 : 0;
        }
    co_return cancelled;
}

} // namespace

TEST_F(SoupHttpClientTest, stopsOneRequestButNotInsideTheStopItselfAndEndsAllBeforeItIsGone) {
    service.behaviour = [](const std::string& request) {
        const auto half = ok + cookie("late") + "Content-Length: 9\r\n\r\nhalf";
        return Answer{request.find("body") == std::string::npos ? "" : half, stands};
    };
    {
        auto givenUp = client.send(request("unanswered"), std::stop_token());
        givenUp.await_suspend(std::noop_coroutine()).resume();
        MainLoop::runUntil([this] { return !service.requests.empty(); });
    }
    MainLoop::runUntil([this] { return !service.isConnected(); });
    std::stop_source stop;
    const auto first = start("body", stop.get_token());
    MainLoop::runUntil([this] { return !jar.cookiesFor(service.origin).empty(); });
    std::vector<Pending> open;
    for (const auto* path : {"head", "body", "3", "4", "5", "6", "7", "8", "9"})
        open.push_back(start(path));
    const auto last = start("last", stop.get_token());
    stop.request_stop();
    EXPECT_FALSE(first->ended() || last->ended());
    EXPECT_EQ(told(first) + ", " + told(last) + ": " + namesOnDisk(), "cancelled, cancelled: late");
    MainLoop::runUntil([this] { return service.requests.size() >= 4; });
    EXPECT_EQ(send(request("behind", 150ms)), "timed out");
    const auto again = begin(insist(&client, service.at("again")));
    client.end();
    for (const auto& each : open) {
        ASSERT_TRUE(each->ended());
        EXPECT_EQ(told(each), "cancelled");
    }
    ASSERT_TRUE(again->ended());
    EXPECT_EQ(again->take(), 3);
}
