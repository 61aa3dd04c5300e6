#include "account/BriskoAPI.h"
#include "fakes/FakePlatform.h"
#include "linux/HttpTest.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using Conversation = MisbehavingService::Conversation;
using Behaviour = MisbehavingService::Behaviour;

constexpr const char* nothing = "";
constexpr const char* transport = "a transport error";
constexpr const char* noPicture = "Could not load the verification image.";

Behaviour html(const char* status) {
    return MisbehavingService::replying(MisbehavingService::reply(
        status, "Content-Type: text/html\r\n", "<!doctype html><title>" + std::string(status) + "</title>"));
}

Behaviour json(const char* status, const char* body) {
    return MisbehavingService::replying(
        MisbehavingService::reply(status, "Content-Type: application/json\r\n", body));
}

Behaviour raw(std::string bytes) {
    return MisbehavingService::replying(std::move(bytes));
}

std::string garbage() {
    std::string bytes;
    bytes.resize(10'000'000);
    for (std::size_t index = 0; index < bytes.size(); ++index)
        bytes[index] = static_cast<char>(index * 2654435761U >> 13);
    return bytes;
}

/// One way for the service to let somebody down, and what that person reads at a sign-in and at the captcha.
struct BadDay {
    const char* name;
    Behaviour behaviour;
    const char* signIn;
    const char* captcha = noPicture;
};

std::vector<BadDay> badDays() {
    return {
        {"error text", json("401 No", R"({"error":"Wrong name or password."})"), "Wrong name or password."},
        {"error number", json("500 Oops", R"({"error":500})"), "Something went wrong (500)."},
        {"error in a list", json("400 Bad", R"([{"error":"x"}])"), "Something went wrong (400)."},
        {"error under a wrong type",
         MisbehavingService::replying(
             MisbehavingService::reply("403 No", "Content-Type: image/png\r\n", R"({"error":"No."})")),
         "No."},
        {"gateway page", html("502 Bad Gateway"), "Something went wrong (502)."},
        {"choices", html("300 Multiple Choices"), "Something went wrong (300)."},
        {"strange status", html("999 Strange"), "Something went wrong (999)."},
        {"no content", raw("HTTP/1.1 204 No Content\r\n\r\n"), nothing},
        {"list", json("200 OK", "[1,2]"), nothing},
        {"deep list", json("200 OK", std::string(100'000, '[').c_str()), nothing},
        {"ten megabytes of garbage", raw(MisbehavingService::reply("200 OK", "", garbage())), nothing},
        {"ten megabytes of something else", raw("\n" + garbage()), transport, transport},
        {"another protocol", raw("SSH-2.0-OpenSSH_9.2\r\n"), "No response from brisko."},
        {"only an interim reply", raw("HTTP/1.1 199 Soon\r\n\r\n"), transport, transport},
        {"nothing at all", [](Conversation& conversation) { conversation.request(); }, transport, transport},
        {"reset", [](Conversation& conversation) { conversation.reset(); }, transport, transport},
        {"reset in the reply",
         [](Conversation& conversation) {
             conversation.request();
             conversation.send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{");
             conversation.reset();
         },
         transport, transport},
        {"cut short", raw("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 9\r\n\r\n{}"), transport,
         transport},
        {"redirection in a circle",
         MisbehavingService::replying(MisbehavingService::reply("302 Found", "Location: /\r\n", "")),
         transport, transport},
        {"redirection in clear",
         MisbehavingService::replying(
             MisbehavingService::reply("307 Temporary", "Location: http://127.0.0.1/\r\n", "")),
         transport, transport},
        {"a header without end", raw("HTTP/1.1 200 OK\r\nX: " + std::string(1'000'000, 'x')), transport,
         transport},
    };
}

class BadDaysTest : public HttpTest {
protected:
    FakeWebDataStore webData;
    FakeWebAuthentication browser;

    BriskoAPI api(const Url& origin) { return BriskoAPI(origin, *client, jar, webData, browser); }

    template <class T>
    static std::string told(Task<T> task) {
        try {
            MainLoop::finish(std::move(task));
        } catch (const BriskoAPI::Failure& failure) {
            return failure.message();
        } catch (const TransportError& failure) {
            EXPECT_STRNE(failure.what(), "");
            return transport;
        }
        return nothing;
    }
};

} // namespace

TEST_F(BadDaysTest, eachEndWithTheRightWordsAndTheSessionKept) {
    service.behave(MisbehavingService::replying(MisbehavingService::reply(
        "200 OK", "Set-Cookie: brisko_session=1; Max-Age=3600; Secure; HttpOnly; Path=/\r\n", "{}")));
    auto account = api(service.origin());
    ASSERT_EQ(told(account.signIn("zoe", SecretText("secret"))), nothing);
    for (const auto& day : badDays()) {
        service.behave(day.behaviour);
        EXPECT_EQ(told(account.signIn("zoe", SecretText("secret"))), day.signIn) << day.name;
        EXPECT_EQ(told(account.captcha()), day.captcha) << day.name;
        EXPECT_TRUE(account.hasSession()) << day.name;
        EXPECT_EQ(namesOnDisk(), "brisko_session") << day.name;
    }
}

TEST_F(BadDaysTest, whenNobodyIsThereOrSomebodyElseEndInTheTransportsWords) {
    std::optional<MisbehavingService> other(
        std::in_place, MisbehavingService::replying(MisbehavingService::reply("200 OK", "", "")));
    auto account = api(other->origin());
    EXPECT_EQ(told(account.signIn("zoe", SecretText("secret"))), transport) << "an untrusted certificate";
    EXPECT_TRUE(other->requests().empty());
    other.reset();
    EXPECT_EQ(told(account.signIn("zoe", SecretText("secret"))), transport) << "a closed port";
    EXPECT_EQ(told(account.captcha()), transport);
    EXPECT_FALSE(account.hasSession());
}

TEST_F(BadDaysTest, signOutEndsTheSessionForTheNextStartToo) {
    service.behave(MisbehavingService::replying(MisbehavingService::reply(
        "200 OK", "Set-Cookie: brisko_session=1; Max-Age=3600\r\nSet-Cookie: theme=dark; Max-Age=3600\r\n",
        "{}")));
    auto account = api(service.origin());
    ASSERT_EQ(told(account.signIn("zoe", SecretText("secret"))), nothing);
    const auto requests = service.requests().size();
    MainLoop::finish(account.signOut());
    EXPECT_FALSE(account.hasSession());
    EXPECT_EQ(namesOnDisk(), "");
    EXPECT_EQ(service.requests().size(), requests);
}
