#include "lock/AppLock.h"

#include "fakes/FakeLock.h"
#include "fakes/FakeLocks.h"
#include "fakes/FakePlatform.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

class AppLockTest : public testing::Test {
protected:
    FakeUserDefaults defaults;
    FakeOwnerAuthentication owner;
    FakeWindow window;
    FakeMainQueue queue;
    std::shared_ptr<AppLock> lock = AppLock::make(defaults, owner, window, queue);
    const std::map<std::string, std::function<void()>> steps = {
        {"on", [this] { defaults.values["brisko.lock.enabled"] = true; }},
        {"off", [this] { defaults.values["brisko.lock.enabled"] = false; }},
        {"prove", [this] { begin(lock->prove("turn on the lock for brisko")); }},
        {"activate", [this] { lock->challenge(); }},
        {"hide", [this] { lock->hide(); }},
        {"yes", [this] { owner.answer(true); }},
        {"no", [this] { owner.answer(false); }},
        {"wait", [this] { queue.advance(AppLock::returnTime); }},
    };

    /// Takes one step after another, and looks at the window after each: "open" or "covered", with "?" where
    /// the step has the desktop ask a question.
    void walk(const std::string& taken, const std::string& seen) {
        std::istringstream names(taken), looks(seen);
        std::string name, look, done;
        while (names >> name) {
            looks >> look;
            const auto asked = owner.reasons.size();
            steps.at(name)();
            done += " " + name;
            EXPECT_EQ((window.covered ? "covered" : "open") + std::string(owner.reasons.size() - asked, '?'),
                      look)
                << "after" << done;
        }
    }
};

} // namespace

TEST_F(AppLockTest, coversNothingUntilItIsSwitchedOnAndTakesTheCoverAwayOnceItIsOff) {
    walk("activate hide on   hide    off     activate", "open     open open covered covered open");
}

TEST_F(AppLockTest, asksAtEachActivationButOnlyOneQuestionAtATime) {
    // Active from the start, and still nobody has proved anything.
    walk("on   activate activate no      activate yes  hide    activate no      activate",
         "open covered? covered  covered covered? open covered covered? covered covered?");
    EXPECT_EQ(owner.reasons.front(), "unlock brisko");
    owner.answer(false);
    owner.available = OwnerAuthentication::Kind::none;
    walk("activate activate", "covered? covered?");
}

// The desktop's question is a window: it takes the keyboard, and the program is activated when it closes.
TEST_F(AppLockTest, doesNotAskAgainWhenItsOwnQuestionGivesTheActivityBack) {
    // The activation after that one is the person's own.
    walk("on   activate hide    yes     activate hide    activate",
         "open covered? covered covered open     covered covered?");
    walk("hide    no      activate hide    activate yes", "covered covered covered  covered covered? open");
}

TEST_F(AppLockTest, forgetsAProofThatNoActivationFollows) {
    // The time of an earlier proof does not end that of a later one.
    walk("on   activate hide    yes     wait    activate hide    yes     activate",
         "open covered? covered covered covered covered? covered covered open");
}

TEST_F(AppLockTest, whoSwitchesItOnHasProvedItAlready) {
    walk("activate prove hide yes  on   activate", "open open? open open open open");
}

TEST_F(AppLockTest, answersEachQuestionOnceInTheirTurn) {
    const auto first = begin(lock->prove("turn on the lock for brisko"));
    const auto second = begin(lock->prove("turn on the lock for brisko"));
    walk("on activate no", "open covered covered?");
    EXPECT_TRUE(first->value == false && !second->ended());
    walk("yes", "covered?");
    EXPECT_EQ(second->value, true);
    EXPECT_EQ(owner.reasons.back(), "unlock brisko");
    // What is asked outlives the lock's owner.
    lock.reset();
    walk("yes", "open");
}
