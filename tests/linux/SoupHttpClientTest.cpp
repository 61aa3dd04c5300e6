#include "account/linux/SoupHttpClient.h"

#include "account/linux/SoupExchange.h"
#include "linux/HttpTest.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace std::chrono_literals;
using Conversation = MisbehavingService::Conversation;
using Reason = TransportError::Reason;

constexpr auto shortTimeout = 150ms;

std::string compressed(const std::string& text) {
    const auto compressor =
        GPtr<GZlibCompressor>::take(g_zlib_compressor_new(G_ZLIB_COMPRESSOR_FORMAT_GZIP, 9));
    std::string result(text.size() + 1024, '\0');
    gsize read = 0;
    gsize written = 0;
    g_converter_convert(G_CONVERTER(compressor.get()), text.data(), text.size(), result.data(), result.size(),
                        G_CONVERTER_INPUT_AT_END, &read, &written, nullptr);
    result.resize(written);
    return result;
}

/// The names of a request's headers, in lower case.
std::multiset<std::string> headerNames(const std::string& request) {
    std::multiset<std::string> names;
    std::istringstream lines(request.substr(0, request.find("\r\n\r\n")));
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        const GText name(g_ascii_strdown(line.c_str(), static_cast<gssize>(line.find(':'))));
        names.insert(name.get());
    }
    return names;
}

class SoupHttpClientTest : public HttpTest {
protected:
    HttpRequest request(std::string_view path, std::chrono::milliseconds timeout = 60s) const {
        HttpRequest result(service.at(path));
        result.timeout = timeout;
        return result;
    }
    HttpRequest post(std::string_view path, std::string body) const {
        auto result = request(path);
        result.method = "POST";
        result.headers.emplace_back("Content-Type", "application/json");
        result.body = std::move(body);
        return result;
    }
    auto start(HttpRequest given, std::stop_token stop = {}) {
        return begin(client->send(std::move(given), std::move(stop)));
    }
    HttpReply send(HttpRequest given) { return MainLoop::finish(start(std::move(given))); }
    /// How the request failed, and that it did.
    Reason reasonOf(const std::shared_ptr<Outcome<HttpReply>>& outcome) {
        try {
            const auto reply = MainLoop::finish(outcome);
            ADD_FAILURE() << "the request succeeded with " << reply.status.value_or(0);
        } catch (const TransportError& failure) {
            EXPECT_STRNE(failure.what(), "");
            return failure.reason();
        }
        return Reason::other;
    }
    Reason failureOf(HttpRequest given) { return reasonOf(start(std::move(given))); }
};

} // namespace

TEST_F(SoupHttpClientTest, sendsABodyWithExactlyTheGivenContentType) {
    service.behave(MisbehavingService::replying(MisbehavingService::reply("200 OK", "", "{}")));
    EXPECT_EQ(send(post("api/auth/login", R"({"username":"Zoë"})")).body, "{}");
    const auto sent = service.requests().at(0);
    EXPECT_TRUE(sent.starts_with("POST /api/auth/login HTTP/1.1\r\n")) << sent;
    EXPECT_TRUE(sent.ends_with("\r\n\r\n{\"username\":\"Zoë\"}")) << sent;
    EXPECT_NE(sent.find("\r\nContent-Type: application/json\r\n"), std::string::npos) << sent;
    EXPECT_EQ(headerNames(sent), (std::multiset<std::string>{"accept-encoding", "connection",
                                                             "content-length", "content-type", "host"}));
    send(request("api/auth/captcha"));
    EXPECT_EQ(headerNames(service.requests().at(1)),
              (std::multiset<std::string>{"accept-encoding", "connection", "host"}));
}

TEST_F(SoupHttpClientTest, sendsItsCookiesBackWhateverTheirSameSitePolicy) {
    service.behave(MisbehavingService::replying(MisbehavingService::reply(
        "200 OK",
        "Set-Cookie: lax=1; SameSite=Lax; Secure; HttpOnly\r\nSet-Cookie: strict=1; SameSite=Strict\r\n"
        "Set-Cookie: plain=1\r\n",
        "")));
    send(request("first"));
    send(request("second"));
    send(post("third", ""));
    for (const auto index : {1U, 2U})
        EXPECT_NE(service.requests().at(index).find("\r\nCookie: lax=1; strict=1; plain=1\r\n"),
                  std::string::npos)
            << service.requests().at(index);
}

TEST_F(SoupHttpClientTest, hasTheCookiesOfEveryReplyOnDiskBeforeTheReplyIsHandedOut) {
    const auto cookie = [](int number) {
        return "Set-Cookie: c" + std::to_string(number) + "=1; Max-Age=3600; Path=/\r\n";
    };
    service.behave([cookie](Conversation& conversation) {
        const auto request = conversation.request();
        if (request.starts_with("GET /first "))
            conversation.send(MisbehavingService::reply("302 Found", cookie(1) + "Location: /next\r\n", ""));
        else if (request.starts_with("GET /next "))
            conversation.send(MisbehavingService::reply("401 No", cookie(2), "{}"));
        else
            conversation.send("HTTP/1.1 200 OK\r\n" + cookie(3) + "Content-Length: 10\r\n\r\nshort");
    });
    EXPECT_EQ(send(request("first")).status, 401);
    EXPECT_EQ(namesOnDisk(), "c1 c2");
    EXPECT_EQ(failureOf(request("third")), Reason::other);
    EXPECT_EQ(namesOnDisk(), "c1 c2 c3");
}

TEST_F(SoupHttpClientTest, takesNoForeignCookieAndOnlyTheLastOfItsKind) {
    service.behave(MisbehavingService::replying(MisbehavingService::reply(
        "200 OK",
        "Set-Cookie: foreign=1; Domain=brisko.example\r\nSet-Cookie: foreign=1; Domain=.example\r\n"
        "Set-Cookie: twice=first\r\n"
        "Set-Cookie: twice=second\r\n",
        "")));
    send(request(""));
    const auto cookies = jar.cookiesFor(service.origin());
    ASSERT_EQ(cookies.size(), 1U);
    EXPECT_EQ(cookies[0].name + "=" + cookies[0].value, "twice=second");
    for (const auto* url : {"https://brisko.example/", "https://example/"})
        EXPECT_TRUE(jar.cookiesFor(*Url::parse(url)).empty()) << url;
}

TEST_F(SoupHttpClientTest, followsRedirectionsAsTheirStatusAsks) {
    const std::pair<const char*, const char*> cases[] = {{"301 Moved", "GET /to HTTP/1.1"},
                                                         {"302 Found", "GET /to HTTP/1.1"},
                                                         {"303 See Other", "GET /to HTTP/1.1"},
                                                         {"307 Temporary", "POST /to HTTP/1.1"},
                                                         {"308 Permanent", "POST /to HTTP/1.1"}};
    for (const auto& [status, line] : cases) {
        service.behave([text = std::string(status)](Conversation& conversation) {
            const auto moved = conversation.request().find(" /to ") == std::string::npos;
            conversation.send(moved ? MisbehavingService::reply(text, "Location: /to\r\n", "elsewhere")
                                    : MisbehavingService::reply("200 OK", "", "here"));
        });
        EXPECT_EQ(send(post("from", "body")).body, "here") << status;
        const auto last = service.requests().back();
        EXPECT_TRUE(last.starts_with(line)) << last;
        EXPECT_EQ(last.ends_with("\r\n\r\nbody"), last.starts_with("POST")) << last;
    }
    service.behave(MisbehavingService::replying(
        MisbehavingService::reply("300 Many", "Location: http://127.0.0.1/\r\n", "")));
    EXPECT_EQ(send(request("from")).status, 300);
    service.behave(MisbehavingService::replying(MisbehavingService::reply("302 Found", "", "nowhere")));
    EXPECT_EQ(send(request("from")).body, "nowhere");
}

TEST_F(SoupHttpClientTest, sendsNothingInClearAndGoesRoundInNoCircle) {
    MisbehavingService clear(MisbehavingService::replying(MisbehavingService::reply("200 OK", "", "")),
                             MisbehavingService::Security::none);
    for (const auto& target :
         {clear.at("x").text(), std::string("http://127.0.0.1/"), std::string("ftp://127.0.0.1/"),
          std::string("https://"), std::string("http:"), std::string("/again")}) {
        service.behave(MisbehavingService::replying(
            MisbehavingService::reply("307 Temporary", "Location: " + target + "\r\n", "")));
        EXPECT_EQ(failureOf(post("from", "secret")), Reason::other) << target;
    }
    EXPECT_EQ(clear.connections(), 0);
}

TEST_F(SoupHttpClientTest, failsWithATimeoutOnceNothingHasArrivedForTheGivenTime) {
    const MisbehavingService::Behaviour behaviours[] = {
        [](Conversation& conversation) { conversation.awaitEnd(); },
        [](Conversation& conversation) {
            conversation.request();
            conversation.send("HTTP/1.1 200 OK\r\nContent-Le");
            conversation.awaitEnd();
        },
        [](Conversation& conversation) {
            conversation.request();
            conversation.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
            conversation.awaitEnd();
        },
    };
    for (const auto& behaviour : behaviours) {
        service.behave(behaviour);
        EXPECT_EQ(failureOf(request("", shortTimeout)), Reason::timedOut);
    }
    MisbehavingService silent([](Conversation& conversation) { conversation.awaitEnd(); },
                              MisbehavingService::Security::none);
    HttpRequest handshake(*Url::parse("https" + silent.origin().text().substr(4)));
    handshake.timeout = shortTimeout;
    EXPECT_EQ(failureOf(std::move(handshake)), Reason::timedOut);
}

TEST_F(SoupHttpClientTest, waitsForASlowReplyForAsLongAsSomethingComes) {
    constexpr int pieces = 5;
    service.behave([](Conversation& conversation) {
        conversation.request();
        conversation.send("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n");
        for (int piece = 0; piece < pieces; ++piece) {
            conversation.awaitStep();
            conversation.send(std::to_string(piece));
        }
        conversation.awaitEnd();
    });
    const auto reply = start(request("", 1s));
    const auto started = g_get_monotonic_time();
    const auto clock = g_timeout_add(
        300,
        [](gpointer slow) -> gboolean {
            static_cast<MisbehavingService*>(slow)->admit(1);
            return G_SOURCE_CONTINUE;
        },
        &service);
    EXPECT_EQ(MainLoop::finish(reply).body, "01234");
    EXPECT_GT(g_get_monotonic_time() - started, G_USEC_PER_SEC);
    g_source_remove(clock);
}

TEST_F(SoupHttpClientTest, stopsWhereverTheRequestIs) {
    const MisbehavingService::Behaviour midBody = [](Conversation& conversation) {
        conversation.request();
        conversation.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
        conversation.awaitEnd();
    };
    const MisbehavingService::Behaviour silent = [](Conversation& conversation) { conversation.awaitEnd(); };
    for (const auto& behaviour : {silent, midBody}) {
        service.behave(behaviour);
        const auto before = service.requests().size();
        std::stop_source stop;
        const auto reply = start(request("", 60s), stop.get_token());
        MainLoop::runUntil([&] { return service.requests().size() > before; });
        stop.request_stop();
        EXPECT_FALSE(reply->ended()) << "nothing runs inside the stop itself";
        EXPECT_EQ(reasonOf(reply), Reason::cancelled);
    }
}

TEST_F(SoupHttpClientTest, stopsARequestThatWaitsBehindOthers) {
    service.behave([](Conversation& conversation) { conversation.awaitEnd(); });
    std::stop_source stop;
    std::vector<std::shared_ptr<Outcome<HttpReply>>> ahead(12);
    for (auto& waiting : ahead)
        waiting = start(request(""));
    const auto last = start(request(""), stop.get_token());
    MainLoop::runUntil([&] { return service.requests().size() >= 2; });
    stop.request_stop();
    EXPECT_EQ(reasonOf(last), Reason::cancelled);
    EXPECT_EQ(failureOf(request("", shortTimeout)), Reason::timedOut);
    client.reset();
    for (const auto& waiting : ahead)
        EXPECT_EQ(reasonOf(waiting), Reason::cancelled);
}

namespace {

/// Somebody who, whatever happens, asks again: once more after the client has begun to end.
Task<int> insist(SoupHttpClient* client, Url url) {
    int failures = 0;
    for (int attempt = 0; attempt < 3; ++attempt) {
        try {
            co_await client->send(HttpRequest(url), std::stop_token());
        } catch (const TransportError& failure) {
            failures += failure.reason() == Reason::cancelled ? 1 : 0;
        }
    }
    co_return failures;
}

} // namespace

TEST_F(SoupHttpClientTest, endsEveryOpenRequestBeforeItIsGone) {
    service.behave([](Conversation& conversation) {
        if (conversation.request().find("body") != std::string::npos)
            conversation.send("HTTP/1.1 200 OK\r\nSet-Cookie: late=1; Max-Age=3600; "
                              "Path=/\r\nContent-Length: 9\r\n\r\nhalf");
        conversation.awaitEnd();
    });
    const auto head = start(request("head"));
    const auto body = start(request("body"));
    MainLoop::runUntil(
        [&] { return !jar.cookiesFor(service.origin()).empty() && service.requests().size() == 2; });
    const auto connecting = start(request("connecting"));
    const auto again = begin(insist(client.get(), service.at("again")));
    client.reset();
    for (const auto& reply : {head, body, connecting}) {
        ASSERT_TRUE(reply->ended());
        EXPECT_EQ(reasonOf(reply), Reason::cancelled);
    }
    ASSERT_TRUE(again->ended());
    EXPECT_EQ(again->take(), 3);
    EXPECT_EQ(namesOnDisk(), "late");
}

TEST_F(SoupHttpClientTest, closesTheConnectionOfATaskThatIsGivenUp) {
    service.behave([this](Conversation& conversation) {
        conversation.awaitEnd();
        service.admit(1);
    });
    {
        auto task = client->send(request("unanswered"), std::stop_token());
        task.await_suspend(std::noop_coroutine()).resume();
        MainLoop::runUntil([this] { return !service.requests().empty(); });
    }
    MainLoop::runUntil([this] { return service.stepsAhead() > 0; });
}

TEST_F(SoupHttpClientTest, speaksHttp2WhereTheServiceDoes) {
    g_setenv("SOUP_SERVER_HTTP2", "1", TRUE);
    const auto certificate = Demo::Certificate::make();
    const auto server = GPtr<SoupServer>::take(soup_server_new(nullptr, nullptr));
    soup_server_set_tls_certificate(server.get(), certificate.tls.get());
    ASSERT_TRUE(soup_server_listen_local(server.get(), 0, SOUP_SERVER_LISTEN_HTTPS, nullptr));
    soup_server_add_handler(
        server.get(), nullptr,
        [](SoupServer*, SoupServerMessage* message, const char*, GHashTable*, gpointer) {
            EXPECT_EQ(soup_server_message_get_http_version(message), SOUP_HTTP_2_0);
            soup_server_message_set_status(message, SOUP_STATUS_UNAUTHORIZED, nullptr);
            soup_message_headers_append(soup_server_message_get_response_headers(message), "Set-Cookie",
                                        "a=1");
            const std::string body(300'000, 'x');
            soup_server_message_set_response(message, "text/plain", SOUP_MEMORY_COPY, body.data(),
                                             body.size());
        },
        nullptr, nullptr);
    auto* addresses = soup_server_get_uris(server.get());
    const auto port = g_uri_get_port(static_cast<GUri*>(addresses->data));
    g_slist_free_full(addresses, [](gpointer address) { g_uri_unref(static_cast<GUri*>(address)); });
    useClientThatTrusts(certificate.pem);
    HttpRequest asked(*Url::parse("https://localhost:" + std::to_string(port)));
    for (const auto* method : {"GET", "POST"}) {
        asked.method = method;
        const auto reply = send(asked);
        EXPECT_EQ(reply.status, 401) << method;
        EXPECT_EQ(reply.body.size(), 300'000U) << method;
    }
    EXPECT_EQ(jar.cookiesFor(asked.url).size(), 1U);
    client.reset();
    soup_server_disconnect(server.get());
}

TEST_F(SoupHttpClientTest, trustsTheGivenCertificateForItsOwnNamesAndNoOther) {
    const auto ok = MisbehavingService::replying(MisbehavingService::reply("200 OK", "", ""));
    service.behave(ok);
    EXPECT_EQ(send(request("")).status, 200);
    const MisbehavingService stranger(ok);
    EXPECT_EQ(failureOf(HttpRequest(stranger.origin())), Reason::untrusted);
    const MisbehavingService elsewhere(ok, MisbehavingService::Security::tls, "127.0.0.2");
    useClientThatTrusts(elsewhere.certificate());
    EXPECT_EQ(failureOf(HttpRequest(elsewhere.origin())), Reason::untrusted);
    client = std::make_unique<SoupHttpClient>(jar, std::nullopt);
    EXPECT_EQ(failureOf(request("")), Reason::untrusted);
    EXPECT_TRUE(elsewhere.requests().empty() && stranger.requests().empty());
}

TEST_F(SoupHttpClientTest, refusesATrustFileWithoutACertificate) {
    const auto pem = folder.path() / "bad.pem";
    EXPECT_THROW(SoupHttpClient(jar, pem), Error);
    for (const auto* content :
         {"", "no certificate\n", "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n"}) {
        DurableFile::write(pem, content);
        EXPECT_THROW(SoupHttpClient(jar, pem), Error) << content;
    }
}

TEST_F(SoupHttpClientTest, unpacksACompressedBodyAndNoticesWhenItIsIncompleteOrABomb) {
    const auto packed = [&](const std::string& body, std::size_t missing) {
        auto reply = MisbehavingService::reply("200 OK", "Content-Encoding: gzip\r\n", body);
        reply.resize(reply.size() - missing);
        service.behave(MisbehavingService::replying(std::move(reply)));
        return request("");
    };
    EXPECT_EQ(send(packed(compressed("{}"), 0)).body, "{}");
    const std::string text(100'000, 'a');
    EXPECT_EQ(send(packed(compressed(text), 0)).body, text);
    EXPECT_EQ(failureOf(packed(compressed(text), 1)), Reason::other);
    EXPECT_EQ(send(packed("never compressed", 0)).body, "never compressed");
    const std::string bomb(SoupExchange::maximumBody + 1, '\0');
    EXPECT_EQ(failureOf(packed(compressed(bomb), 0)), Reason::other);
}

TEST_F(SoupHttpClientTest, neverTakesPartOfABodyForTheWhole) {
    const char* const heads[] = {"Content-Length: 10\r\n", "Content-Length: 10\r\nConnection: close\r\n",
                                 "Transfer-Encoding: chunked\r\n"};
    for (const auto* head : heads) {
        service.behave(
            MisbehavingService::replying("HTTP/1.1 200 OK\r\n" + std::string(head) + "\r\n5\r\n{}"));
        EXPECT_EQ(failureOf(request("")), Reason::other) << head;
        service.behave([head](Conversation& conversation) {
            conversation.request();
            conversation.send("HTTP/1.1 200 OK\r\n" + std::string(head) + "\r\n5\r\n{}");
            conversation.reset();
        });
        EXPECT_EQ(failureOf(request("")), Reason::other) << head;
    }
    service.behave(MisbehavingService::replying("HTTP/1.1 200 OK\r\n\r\nto the end"));
    EXPECT_EQ(send(request("")).body, "to the end");
    service.behave(MisbehavingService::replying("HTTP/1.1 304 Not Modified\r\nContent-Length: 10\r\n\r\n"));
    EXPECT_EQ(send(request("")).status, 304);
}

TEST_F(SoupHttpClientTest, keepsTheLoopRunningWhileALongBodyComes) {
    std::string garbage;
    garbage.resize(10'000'000);
    for (std::size_t index = 0; index < garbage.size(); ++index)
        garbage[index] = static_cast<char>(index * 2654435761U >> 13);
    service.behave(MisbehavingService::replying(MisbehavingService::reply("200 OK", "", garbage)));
    struct Ticks {
        gint64 last = g_get_monotonic_time();
        gint64 longest = 0;
        int count = 0;
    } ticks;
    const auto clock = g_timeout_add(
        1,
        [](gpointer data) -> gboolean {
            auto* seen = static_cast<Ticks*>(data);
            const auto now = g_get_monotonic_time();
            seen->longest = std::max(seen->longest, now - seen->last);
            seen->last = now;
            seen->count += 1;
            return G_SOURCE_CONTINUE;
        },
        &ticks);
    EXPECT_TRUE(send(request("")).body == garbage);
    g_source_remove(clock);
    EXPECT_GT(ticks.count, 0);
    EXPECT_LT(ticks.longest, G_USEC_PER_SEC);
}

TEST_F(SoupHttpClientTest, hasNoStatusForWhatDoesNotSpeakHttp) {
    for (const auto* bytes :
         {"SSH-2.0-OpenSSH_9.2\r\n\r\n", "\x01\x02\x03\n\n", "HTTP/1.1 20 OK\r\n\r\n", "{}"}) {
        service.behave(MisbehavingService::replying(bytes));
        EXPECT_EQ(send(request("")).status, std::nullopt) << bytes;
    }
}

TEST_F(SoupHttpClientTest, refusesWhatIsNoAddressOfAService) {
    for (const auto* url : {"mailto:someone", "https:///path", "relative", "https://h:99999/"})
        EXPECT_EQ(failureOf(HttpRequest(*Url::parse(url))), Reason::other) << url;
}
