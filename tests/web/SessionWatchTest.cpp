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

    void start(std::vector<Cookie> cookies) {
        store.cookies = std::move(cookies);
        watch = SessionWatch::make(store, "brisko.example", queue, clock);
        watch->onGone = [this] { gone += 1; };
    }
    void set(std::vector<Cookie> cookies) {
        store.cookies = std::move(cookies);
        store.changed();
    }
    /// How often the loss of the session has been told since it was asked last.
    int told() {
        queue.advance(0ms);
        return std::exchange(gone, 0);
    }
};

} // namespace

TEST_F(SessionWatchTest, tellsEachLossOnceAndNothingElseNorAnythingOnceItHasGone) {
    start({});
    auto other = FakeAccount::session();
    other.name = "Brisko_session";
    set({FakeAccount::session("elsewhere.example"), other});
    set({});
    EXPECT_EQ(told(), 0) << "there never was a session";
    for (const auto* domain : {"brisko.example", "app.brisko.example"}) {
        set({other, FakeAccount::session(domain)});
        EXPECT_EQ(told(), 0);
        set({other});
        set({});
        EXPECT_EQ(gone, 0) << "within the answer of the store";
        EXPECT_EQ(told(), 1) << domain;
    }
    set({FakeAccount::session()});
    set({});
    watch.reset();
    EXPECT_EQ(told(), 0);
}

TEST_F(SessionWatchTest, noticesWhatChangesDuringALookAndACookieThatExpires) {
    auto cookie = FakeAccount::session();
    cookie.expires = clock.time + 2h + 30min;
    start({cookie});
    queue.advance(2h + 29min);
    EXPECT_LE(store.started, 4) << "it looks in small steps";
    store.cookies.clear(); // a store lists nothing that has expired
    queue.advance(1h);
    EXPECT_EQ(told(), 1);
    start({cookie});
    store.hold = true;
    const auto before = store.started;
    for (int i = 0; i < 1000; ++i)
        store.changed();
    store.cookies.clear();
    store.open();
    EXPECT_EQ(store.started, before + 2) << "a look for the first change, and one for all the others";
    EXPECT_EQ(told(), 1);
}
