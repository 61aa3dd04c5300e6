#include "web/SessionWatch.h"

#include "fakes/FakeAccount.h"
#include "fakes/FakeLock.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

class SessionWatchTest : public testing::Test {
protected:
    FakeWebDataStore store;
    FakeMainQueue queue;
    FakeClock clock;
    int gone = 0;
    std::shared_ptr<SessionWatch> watch;

    void start() {
        watch = SessionWatch::make(store, "brisko.example", queue, clock);
        watch->onGone = [this] { gone += 1; };
    }
    void set(std::vector<Cookie> cookies) {
        store.cookies = std::move(cookies);
        store.changed();
    }
    int told() {
        queue.advance(0ms);
        return gone;
    }
    static Cookie named(std::string name, std::string domain = "brisko.example") {
        auto cookie = FakeAccount::session(std::move(domain));
        cookie.name = std::move(name);
        return cookie;
    }
};

} // namespace

TEST_F(SessionWatchTest, tellsEachLossOnceAndNothingElse) {
    start();
    set({named("other")});
    set({FakeAccount::session("elsewhere.example"), named("Brisko_session")});
    set({});
    EXPECT_EQ(told(), 0) << "there never was a session";
    for (const auto* domain : {"brisko.example", ".brisko.example", "app.brisko.example"}) {
        gone = 0;
        set({named("a"), FakeAccount::session(domain)});
        set({named("b"), FakeAccount::session(domain)});
        EXPECT_EQ(told(), 0);
        set({named("a")});
        set({});
        EXPECT_EQ(gone, 0) << "within the answer of the store";
        EXPECT_EQ(told(), 1) << domain;
    }
}

TEST_F(SessionWatchTest, looksOnceMoreForAllThatChangesDuringALook) {
    store.cookies = {FakeAccount::session()};
    start();
    store.hold = true;
    store.changed();
    for (int i = 0; i < 1000; ++i)
        store.changed();
    store.cookies.clear();
    const auto before = store.started;
    store.release();
    EXPECT_EQ(store.started, before + (store.waiting() ? 1 : 0)) << "a look for every change";
    if (store.waiting())
        store.release();
    EXPECT_EQ(told(), 1);
}

TEST_F(SessionWatchTest, noticesACookieThatExpires) {
    auto cookie = FakeAccount::session();
    cookie.expires = clock.time + 2h + 30min;
    store.cookies = {cookie};
    start();
    const auto looks = store.started;
    queue.advance(2h + 29min);
    EXPECT_LE(store.started, looks + 3);
    clock.time += 2h + 30min;
    store.cookies.clear(); // a store lists nothing that has expired
    queue.advance(1h);
    EXPECT_EQ(told(), 1);
}

TEST_F(SessionWatchTest, saysNothingOnceItHasGone) {
    store.cookies = {FakeAccount::session()};
    start();
    set({});
    watch.reset();
    EXPECT_EQ(told(), 0) << "already on its way";

    store.cookies = {FakeAccount::session()};
    start();
    store.hold = true;
    store.changed();
    store.cookies.clear();
    watch.reset();
    store.release();
    store.changed();
    EXPECT_EQ(told(), 0);
}
