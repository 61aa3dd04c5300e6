#include "platform/linux/LazyHttpClient.h"

#include "linux/HttpTest.h"

#include <gtest/gtest.h>

namespace {

using Conversation = MisbehavingService::Conversation;
using Reason = TransportError::Reason;

class LazyHttpClientTest : public HttpTest {
protected:
    int made = 0;
    bool failing = false;
    LazyHttpClient lazy{[this]() -> std::unique_ptr<HttpClient> {
        made += 1;
        if (failing)
            throw Error("There is no certificate in the file.");
        return std::move(client);
    }};

    /// Somebody who, whatever happens, asks again: the last time after the client has begun to end.
    Task<int> insist() {
        int cancelled = 0;
        for (int attempt = 0; attempt < 2; ++attempt) {
            try {
                co_await lazy.send(HttpRequest(service.origin()), std::stop_token());
            } catch (const TransportError& failure) {
                cancelled += failure.reason() == Reason::cancelled ? 1 : 0;
            }
        }
        co_return cancelled;
    }
    Task<HttpReply> ask() { return lazy.send(HttpRequest(service.origin()), std::stop_token()); }
};

TEST_F(LazyHttpClientTest, makesOneClientForAllRequestsOnceThatSucceeds) {
    service.behave(MisbehavingService::replying(MisbehavingService::reply("200 OK", "", "hello")));
    failing = true;
    EXPECT_THROW(MainLoop::finish(ask()), Error);
    failing = false;
    EXPECT_EQ(MainLoop::finish(ask()).body, "hello");
    EXPECT_EQ(MainLoop::finish(ask()).body, "hello");
    EXPECT_EQ(made, 2);
}

TEST_F(LazyHttpClientTest, endsWhatIsOpenAndWhatComesLater) {
    service.behave([](Conversation& conversation) { conversation.awaitEnd(); });
    const auto waiting = begin(insist());
    MainLoop::runUntil([&] { return service.connections() == 1; });
    lazy.end();
    ASSERT_TRUE(waiting->ended());
    EXPECT_EQ(waiting->take(), 2);
    EXPECT_EQ(MainLoop::finish(insist()), 2);
    EXPECT_EQ(made, 1);
}

} // namespace
