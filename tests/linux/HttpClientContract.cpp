#include "account/linux/DurableCookieJar.h"
#include "account/linux/SoupHttpClient.h"
#include "fakes/FakePlatform.h"
#include "linux/MainLoop.h"
#include "linux/MisbehavingService.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

/// A client and a service that answers a request only when the test says so.
struct Fake {
    FakeHttpClient client;

    Url at(const char* path) const { return Url::parse("https://brisko.example")->appendingPath(path); }
    void answer(int status, const std::string& body) {
        while (client.pending.front()->reply.settled())
            client.take();
        client.answer(status, body);
    }
};

struct Soup {
    static std::filesystem::path trusted(const TemporaryFolder& folder, const MisbehavingService& service) {
        DurableFile::write(folder.path() / "trusted.pem", service.certificate());
        return folder.path() / "trusted.pem";
    }

    TemporaryFolder folder{"brisko-http"};
    MisbehavingService service{nullptr};
    DurableCookieJar jar{folder.path() / "cookies.json"};
    SoupHttpClient client{jar, trusted(folder, service)};

    Soup() { behave(0, {}); }
    Url at(const char* path) const { return service.at(path); }
    void answer(int status, const std::string& body) {
        behave(status, body);
        service.admit(2);
    }
    void behave(int status, const std::string& body) {
        answer_ = MisbehavingService::reply(std::to_string(status) + " Status", "", body);
        service.behave([this](MisbehavingService::Conversation& conversation) {
            conversation.request();
            conversation.awaitStep();
            conversation.send(answer_);
        });
    }

private:
    std::string answer_;
};

template <class Kind>
class HttpClientContract : public testing::Test {
protected:
    Kind kind;
    HttpClient& client = kind.client;

    auto get(const char* path, std::stop_token stop = {}) {
        return begin(client.send(HttpRequest(kind.at(path)), std::move(stop)));
    }
    static TransportError::Reason reasonOf(const std::shared_ptr<Outcome<HttpReply>>& outcome) {
        try {
            MainLoop::finish(outcome);
        } catch (const TransportError& failure) {
            EXPECT_STRNE(failure.what(), "");
            return failure.reason();
        }
        ADD_FAILURE() << "the request succeeded";
        return TransportError::Reason::other;
    }
};

using Kinds = testing::Types<Fake, Soup>;
TYPED_TEST_SUITE(HttpClientContract, Kinds);

} // namespace

TYPED_TEST(HttpClientContract, handsTheWholeReplyOutWhateverItsStatus) {
    const auto request = this->get("api/auth/captcha");
    EXPECT_FALSE(request->ended());
    this->kind.answer(503, std::string("a\0b", 3));
    const auto reply = MainLoop::finish(request);
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.body, std::string("a\0b", 3));
}

TYPED_TEST(HttpClientContract, endsAStoppedRequestAndNoOther) {
    std::stop_source stop;
    const auto stopped = this->get("api/auth/captcha", stop.get_token());
    const auto other = this->get("api/auth/captcha");
    stop.request_stop();
    EXPECT_EQ(this->reasonOf(stopped), TransportError::Reason::cancelled);
    EXPECT_FALSE(other->ended());
    this->kind.answer(200, "{}");
    EXPECT_EQ(MainLoop::finish(other).body, "{}");
}

TYPED_TEST(HttpClientContract, failsARequestThatIsStoppedBeforeItBegins) {
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(this->reasonOf(this->get("api/auth/captcha", stop.get_token())),
              TransportError::Reason::cancelled);
}

TYPED_TEST(HttpClientContract, takesAStopAfterTheReplyForNothing) {
    std::stop_source stop;
    const auto request = this->get("api/auth/captcha", stop.get_token());
    this->kind.answer(204, "");
    EXPECT_EQ(MainLoop::finish(request).status, 204);
    EXPECT_TRUE(stop.request_stop());
}
