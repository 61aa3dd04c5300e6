#include "application/linux/DemoService.h"

#include "account/BriskoAPI.h"
#include "account/linux/DurableCookieJar.h"
#include "account/linux/SoupHttpClient.h"
#include "fakes/FakePlatform.h"
#include "linux/MainLoop.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

/// The real client at the embedded service, started as the program starts it, over HTTP/2, which the services
/// of the other tests do not speak.
class DemoServiceTest : public testing::Test {
protected:
    static DemoService::Options optionsIn(const std::filesystem::path& folder) {
        g_setenv("SOUP_SERVER_HTTP2", "1", TRUE);
        return {folder / "service.pem", folder / "state.json", "K7XM4"};
    }

    TemporaryFolder folder{"brisko-demo"};
    DemoService service{optionsIn(folder.path())};
    const Url origin = service.origin();
    DurableCookieJar jar{folder.path() / "cookies.json"};
    SoupHttpClient client{jar, service.certificate()};
    FakeWebDataStore webData;
    FakeWebAuthentication browser;
    BriskoAPI api{origin, client, jar, webData, browser};

    HttpReply send(const char* path, std::string body = {}) {
        auto request = HttpRequest(Url::parse(origin.text() + path).value());
        request.headers = {{"Accept", "text/html"}};
        request.method = body.empty() ? "GET" : "POST";
        request.body = std::move(body);
        return MainLoop::finish(client.send(std::move(request), {}));
    }
    /// What the person is told; "" where it went well.
    template <class T>
    static std::string told(Task<T> task) {
        const auto outcome = begin(std::move(task));
        MainLoop::runUntil([&] { return outcome->ended(); });
        return outcome->message();
    }
};

} // namespace

TEST_F(DemoServiceTest, signsInWithACookieThatScriptsCannotReadAndGivesThePagesShortcuts) {
    EXPECT_EQ(told(api.signIn("ada", SecretText("lovelace-1844"))), "Wrong username or password.");
    EXPECT_EQ(send("/api/settings").status, 401);
    EXPECT_EQ(told(api.signIn("ada", SecretText("lovelace-1843"))), "");
    const auto cookie = jar.cookiesFor(origin).at(0);
    EXPECT_EQ(cookie.name, BriskoAPI::sessionCookieName);
    EXPECT_TRUE(cookie.secure && cookie.httpOnly && cookie.expires);
    const auto settings = parseJson(send("/api/settings").body);
    for (const auto* action : {"newTask", "spotlight", "search", "toggleView", "openSettings"})
        EXPECT_TRUE(settings["shortcuts"][action].is_string()) << settings;
    EXPECT_EQ(send("/api/auth/logout", "{}").status, 200);
    EXPECT_FALSE(api.hasSession()) << "the service takes its cookie back";
}

TEST(DemoService, endsWithItsParentHoweverThatEnds) {
    const TemporaryFolder folder("brisko-demo");
    const auto certificate = (folder.path() / "service.pem").string();
    // At the other end of its input is the parent, which ends.
    const auto command = "true | " DEMO_SERVICE_PROGRAM " --certificate " + certificate + " >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
}
