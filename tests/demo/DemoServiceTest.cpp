#include "application/linux/DemoService.h"

#include "account/BriskoAPI.h"
#include "account/linux/DurableCookieJar.h"
#include "account/linux/SoupHttpClient.h"
#include "fakes/FakePlatform.h"
#include "linux/MainLoop.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

/// The real client at the embedded service, started as the program starts it, over both versions of HTTP that
/// services speak.
class DemoServiceTest : public testing::TestWithParam<bool> {
protected:
    static DemoService::Options optionsIn(const std::filesystem::path& folder) {
        if (GetParam())
            g_setenv("SOUP_SERVER_HTTP2", "1", TRUE);
        else
            g_unsetenv("SOUP_SERVER_HTTP2");
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

INSTANTIATE_TEST_SUITE_P(OverHttp, DemoServiceTest, testing::Values(false, true),
                         [](const auto& version) { return version.param ? "2" : "1"; });

} // namespace

TEST_P(DemoServiceTest, signsInWithACookieThatScriptsCannotReadAndGivesThePagesShortcuts) {
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
    const auto end = [](GSubprocess* process) {
        g_subprocess_force_exit(process);
        g_object_unref(process);
    };
    const std::unique_ptr<GSubprocess, decltype(end)> child(
        g_subprocess_new(
            static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_SILENCE),
            nullptr, DEMO_SERVICE_PROGRAM, "--certificate", (folder.path() / "service.pem").c_str(), nullptr),
        end);
    ASSERT_TRUE(child);
    g_output_stream_close(g_subprocess_get_stdin_pipe(child.get()), nullptr, nullptr);
    auto ended = false;
    const auto note = [](GObject*, GAsyncResult*, gpointer flag) { *static_cast<bool*>(flag) = true; };
    g_subprocess_wait_async(child.get(), nullptr, note, &ended);
    MainLoop::runUntil([&] { return ended; });
    EXPECT_TRUE(g_subprocess_get_successful(child.get()));
}
