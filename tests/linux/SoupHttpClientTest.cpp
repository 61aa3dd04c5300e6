#include "account/linux/SoupHttpClient.h"

#include "account/linux/DurableCookieJar.h"
#include "account/linux/SoupExchange.h"
#include "linux/MainLoop.h"
#include "linux/MisbehavingService.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/LazyHttpClient.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using enum MisbehavingService::End;
using Answer = MisbehavingService::Answer;
using Pending = std::shared_ptr<Outcome<HttpReply>>;

constexpr auto reply = MisbehavingService::reply;

/// The client and its jar, made as the program makes them, at a service that does whatever the test says.
class SoupHttpClientTest : public testing::Test {
protected:
    TemporaryFolder folder{"brisko-http"};
    MisbehavingService service{reply("200 OK", "", "hello")};
    const std::filesystem::path file = folder.path() / "jar" / "cookies.json";
    DurableCookieJar jar{file};
    std::string trusted = service.certificate();
    LazyHttpClient client{[this] {
        const auto pem = folder.path() / "trusted.pem";
        DurableFile::write(pem, trusted);
        return std::make_unique<SoupHttpClient>(jar, pem);
    }};

    HttpRequest get(std::string_view path, std::chrono::milliseconds timeout = 60s) const {
        HttpRequest result(service.at(path));
        result.timeout = timeout;
        return result;
    }
    HttpRequest post(std::string_view path, std::string body) const {
        auto result = get(path);
        result.method = "POST";
        result.headers.emplace_back("Content-Type", "application/json");
        result.body = std::move(body);
        return result;
    }
    Pending start(HttpRequest request, std::stop_token stop = {}) {
        return begin(client.send(std::move(request), std::move(stop)));
    }
    /// How a request ends: its status and its body, or why it has failed.
    static std::string told(const Pending& outcome) {
        try {
            const auto answer = MainLoop::finish(outcome);
            const auto& body = answer.body;
            return (answer.status ? std::to_string(*answer.status) : "no status") + " " +
                   (body.size() > 20 ? std::to_string(body.size()) + " bytes" : body);
        } catch (const TransportError& failure) {
            EXPECT_STRNE(failure.what(), "");
            constexpr const char* reasons[] = {"cancelled", "timed out", "untrusted", "other"};
            return reasons[static_cast<std::size_t>(failure.reason())];
        }
    }
    std::string send(HttpRequest request) { return told(start(std::move(request))); }
    /// What the next start finds for the service's origin, even if this process is killed now.
    std::string namesOnDisk() const {
        std::string names;
        for (const auto& cookie : DurableCookieJar(file).cookiesFor(service.origin()))
            names += (names.empty() ? "" : " ") + cookie.name;
        return names;
    }
};

} // namespace

TEST_F(SoupHttpClientTest, sendsWhatItIsGivenAndBringsItsCookiesBack) {
    service.behave(reply("200 OK",
                         "Set-Cookie: a=1; SameSite=Strict; Secure; HttpOnly; Path=/\r\n"
                         "Set-Cookie: b=2; SameSite=Lax; Path=/\r\n",
                         "{}"));
    EXPECT_EQ(send(post("api/auth/login", R"({"username":"Zoë"})")), "200 {}");
    const auto first = service.requests().at(0);
    EXPECT_TRUE(first.starts_with("POST /api/auth/login HTTP/1.1\r\n")) << first;
    EXPECT_TRUE(first.ends_with("\r\n\r\n{\"username\":\"Zoë\"}")) << first;
    EXPECT_NE(first.find("\r\nContent-Type: application/json\r\n"), std::string::npos) << first;
    EXPECT_EQ(first.find("\r\nUser-Agent:"), std::string::npos) << first;
    send(post("again", ""));
    EXPECT_NE(service.requests().at(1).find("\r\nCookie: a=1; b=2\r\n"), std::string::npos)
        << service.requests().at(1);
}

TEST_F(SoupHttpClientTest, hasTheCookiesOfEveryReplyOnDiskBeforeTheReplyIsHandedOut) {
    const auto cookie = [](int number) {
        return "Set-Cookie: c" + std::to_string(number) + "=1; Max-Age=3600; Path=/\r\n";
    };
    service.behave([cookie](const std::string& request) {
        if (request.starts_with("GET /first "))
            return reply("302 Found", cookie(1) + "Location: /next\r\n", "");
        if (request.starts_with("GET /next "))
            return reply("401 No", cookie(2), "{}");
        return Answer{"HTTP/1.1 200 OK\r\n" + cookie(3) + "Content-Length: 10\r\n\r\nshort"};
    });
    EXPECT_EQ(send(get("first")), "401 {}");
    EXPECT_EQ(namesOnDisk(), "c1 c2");
    EXPECT_EQ(send(get("third")), "other");
    EXPECT_EQ(namesOnDisk(), "c1 c2 c3");
}

TEST_F(SoupHttpClientTest, endsEachBadDayAsWhatItIsAndKeepsTheSession) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const auto zipped =
        std::string("\x1f\x8b\x08\0\0\0\0\0\0\x03\xab\xae\x05\0\x43\xbf\xa6\xa3\x02\0\0\0", 22);
    const std::pair<const char*, Answer> days[] = {
        {"200 a body to the end", {ok + "\r\na body to the end"}},
        {"304 ", {"HTTP/1.1 304 Not Modified\r\nContent-Length: 10\r\n\r\n"}},
        {"204 ", {"HTTP/1.1 204 No Content\r\n\r\n"}},
        {"999 strange", reply("999 Strange", "Content-Type: image/png\r\n", "strange")},
        {"300 many", reply("300 Many", "Location: http://127.0.0.1/\r\n", "many")},
        {"302 nowhere", reply("302 Found", "", "nowhere")},
        {"200 10000000 bytes", reply("200 OK", "", std::string(10'000'000, '?'))},
        {"200 {}", reply("200 OK", "Content-Encoding: gzip\r\n", zipped)},
        {"200 not zipped", reply("200 OK", "Content-Encoding: gzip\r\n", "not zipped")},
        {"no status ", {"SSH-2.0-OpenSSH_9.2\r\n\r\n"}},
        {"no status ", {"HTTP/1.1 20 OK\r\n\r\n"}},
        {"other", {ok + "Content-Length: 10\r\n\r\n{}"}},
        {"other", {ok + "Content-Length: 10\r\nConnection: close\r\n\r\n{}"}},
        {"other", {ok + "Content-Length: 23\r\nContent-Encoding: gzip\r\n\r\n" + zipped}},
        {"other", {ok + "Transfer-Encoding: chunked\r\n\r\n5\r\n{}"}},
        {"other", {ok + "Content-Length: 10\r\n\r\n{}", resets}},
        {"other", {ok + "Transfer-Encoding: chunked\r\n\r\n5\r\n{}", resets}},
        {"other", {"HTTP/1.1 199 Soon\r\n\r\n"}},
        {"other", {ok + "X: " + std::string(1'000'000, 'x')}},
        {"other", {ok + "\r\n" + std::string(SoupExchange::maximumBody + 1, 'x')}},
        {"other", {"", closes}},
        {"other", {"", resets}},
    };
    service.behave(reply("200 OK", "Set-Cookie: session=1; Max-Age=3600; Path=/\r\n", ""));
    send(get(""));
    for (const auto& [end, answer] : days) {
        service.behave(answer);
        EXPECT_EQ(send(get("")), end) << testing::PrintToString(answer.bytes.substr(0, 100));
        EXPECT_EQ(namesOnDisk(), "session");
    }
    MainLoop::runUntil([this] { return service.connections().second == 0; });
    for (const auto* url : {"mailto:someone", "https:///path", "relative", "https://h:99999/"})
        EXPECT_EQ(send(HttpRequest(*Url::parse(url))), "other") << url;
}

TEST_F(SoupHttpClientTest, followsRedirectionsAsTheirStatusAsks) {
    for (const auto& [status, method] :
         {std::pair("301 Moved", "GET"), std::pair("302 Found", "GET"), std::pair("303 See Other", "GET"),
          std::pair("307 Temporary", "POST"), std::pair("308 Permanent", "POST")}) {
        service.behave([text = std::string(status)](const std::string& request) {
            return request.find(" /to ") == std::string::npos ? reply(text, "Location: /to\r\n", "there")
                                                              : reply("200 OK", "", "here");
        });
        EXPECT_EQ(send(post("from", "body")), "200 here") << status;
        const auto last = service.requests().back();
        EXPECT_TRUE(last.starts_with(std::string(method) + " /to ")) << last;
        EXPECT_EQ(last.ends_with("\r\n\r\nbody"), last.starts_with("POST")) << last;
        EXPECT_EQ(last.find("Content-Type") != std::string::npos, last.starts_with("POST")) << last;
    }
}

TEST_F(SoupHttpClientTest, sendsNothingInClearAndGoesRoundInNoCircle) {
    const MisbehavingService other({});
    const auto clear = "http" + other.origin().text().substr(5) + "/x";
    for (const auto& target : {clear, std::string("ftp://127.0.0.1/"), std::string("https://"),
                               std::string("http:"), std::string("/again")}) {
        service.behave(reply("307 Temporary", "Location: " + target + "\r\n", ""));
        EXPECT_EQ(send(post("from", "secret")), "other") << target;
    }
    EXPECT_EQ(other.connections().first, 0);
}

TEST_F(SoupHttpClientTest, trustsTheGivenCertificateForItsOwnNamesAndNoOther) {
    for (const auto* content :
         {"", "no certificate\n", "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n"}) {
        trusted = content;
        EXPECT_THROW(send(get("")), Error) << content;
    }
    trusted = service.certificate();
    EXPECT_EQ(send(get("")), "200 hello");
    trusted = "looked at no more once there is a client";
    EXPECT_EQ(send(get("")), "200 hello");
    const MisbehavingService stranger({});
    EXPECT_EQ(send(HttpRequest(stranger.origin())), "untrusted");
    const MisbehavingService elsewhere({}, "127.0.0.2");
    const auto pem = folder.path() / "elsewhere.pem";
    DurableFile::write(pem, elsewhere.certificate());
    for (const auto& [file, url] :
         {std::pair(std::optional(pem), elsewhere.origin()), {std::nullopt, service.origin()}}) {
        SoupHttpClient other(jar, file);
        EXPECT_EQ(told(begin(other.send(HttpRequest(url), {}))), "untrusted") << url.text();
    }
    EXPECT_TRUE(elsewhere.requests().empty() && stranger.requests().empty());
}

TEST_F(SoupHttpClientTest, failsOnceNothingHasArrivedForTheGivenTimeHoweverLongAllOfItTakes) {
    constexpr auto half = 1500ms;
    MisbehavingService slow({"", stands});
    trusted += slow.certificate();
    HttpRequest asked(slow.origin());
    asked.timeout = 2 * half;
    const auto waiting = start(asked);
    MainLoop::runUntil([&] { return slow.requests().size() == 1; });
    slow.add("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n");
    service.behave({"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", stands});
    const auto silent = start(get("half-a-body", 2 * half));
    EXPECT_EQ(send(get("half-a-body", half)), "timed out");
    slow.add("a");
    EXPECT_EQ(told(silent), "timed out");
    slow.add("b");
    EXPECT_EQ(told(waiting), "200 ab");

    service.behave({"HTTP/1.1 200 OK\r\nContent-Le", stands});
    EXPECT_EQ(send(get("half-a-head", 150ms)), "timed out");
    service.ignoreConnections();
    EXPECT_EQ(send(get("handshake", 150ms)), "timed out");
}

TEST_F(SoupHttpClientTest, stopsInTheMiddleOfABodyAndBehindOthersButNotInsideTheStopItself) {
    service.behave({"HTTP/1.1 200 OK\r\nSet-Cookie: here=1\r\nContent-Length: 9\r\n\r\nhalf", stands});
    std::stop_source stop;
    const auto first = start(get(""), stop.get_token());
    MainLoop::runUntil([this] { return !jar.cookiesFor(service.origin()).empty(); });
    std::vector<Pending> ahead(12);
    for (auto& waiting : ahead)
        waiting = start(get(""));
    const auto last = start(get(""), stop.get_token());
    MainLoop::runUntil([this] { return service.requests().size() >= 2; });
    stop.request_stop();
    EXPECT_FALSE(first->ended() || last->ended());
    EXPECT_EQ(told(first) + ", " + told(last), "cancelled, cancelled");
    EXPECT_EQ(send(get("", 150ms)), "timed out");
}

namespace {

/// Somebody who, whatever happens, asks again: the last time after the client has ended.
Task<int> insist(HttpClient* client, Url url) {
    int cancelled = 0;
    for (int attempt = 0; attempt < 3; ++attempt) {
        try {
            co_await client->send(HttpRequest(url), std::stop_token());
        } catch (const TransportError& failure) {
            cancelled += failure.reason() == TransportError::Reason::cancelled ? 1 : 0;
        }
    }
    co_return cancelled;
}

} // namespace

TEST_F(SoupHttpClientTest, endsEveryOpenRequestBeforeItIsGoneAndEveryLaterOne) {
    service.behave([](const std::string& request) {
        return request.find("body") == std::string::npos
                   ? Answer{"", stands}
                   : Answer{"HTTP/1.1 200 OK\r\nSet-Cookie: late=1; Max-Age=3600; Path=/\r\n"
                            "Content-Length: 9\r\n\r\nhalf",
                            stands};
    });
    std::vector open = {start(get("head")), start(get("body"))};
    MainLoop::runUntil(
        [&] { return !jar.cookiesFor(service.origin()).empty() && service.requests().size() == 2; });
    open.push_back(start(get("connecting")));
    const auto again = begin(insist(&client, service.at("again")));
    client.end();
    for (const auto& each : open) {
        ASSERT_TRUE(each->ended());
        EXPECT_EQ(told(each), "cancelled");
    }
    ASSERT_TRUE(again->ended());
    EXPECT_EQ(again->take(), 3);
    EXPECT_EQ(namesOnDisk(), "late");
}

TEST_F(SoupHttpClientTest, closesTheConnectionOfATaskThatIsGivenUp) {
    service.behave({"", stands});
    {
        auto task = client.send(get("unanswered"), std::stop_token());
        task.await_suspend(std::noop_coroutine()).resume();
        MainLoop::runUntil([this] { return !service.requests().empty(); });
    }
    MainLoop::runUntil([this] { return service.connections().second == 0; });
}
