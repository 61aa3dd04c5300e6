#include "lock/AppLock.h"

#include "fakes/FakeLock.h"
#include "fakes/FakeLocks.h"
#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

namespace {

class AppLockTest : public testing::Test {
protected:
    FakeUserDefaults defaults;
    FakeOwnerAuthentication owner;
    FakeWindow window;
    FakeMainQueue queue;
    std::shared_ptr<AppLock> lock = AppLock::make(defaults, owner, window, queue);
    std::vector<bool> answers;

    void switchOn(bool on = true) { defaults.values["brisko.lock.enabled"] = on; }
    void ask(std::string reason) { spawn(note(lock->prove(std::move(reason)), &answers)); }
    static Task<> note(Task<bool> proving, std::vector<bool>* answers) {
        const auto proved = co_await std::move(proving);
        answers->push_back(proved);
    }
    std::size_t asked() const { return owner.reasons.size(); }
};

} // namespace

TEST_F(AppLockTest, coversNothingUntilItIsSwitchedOnAndTakesTheCoverAwayOnceItIsOff) {
    lock->challenge();
    lock->hide();
    EXPECT_FALSE(window.covered);
    switchOn();
    lock->hide();
    EXPECT_TRUE(window.covered);
    switchOn(false);
    EXPECT_TRUE(window.covered);
    lock->challenge();
    EXPECT_FALSE(window.covered);
    EXPECT_EQ(asked(), 0U);
}

TEST_F(AppLockTest, asksAtEachActivationButOnlyOneQuestionAtATime) {
    switchOn();
    lock->challenge();
    EXPECT_TRUE(window.covered); // active from the start, and still nobody has proved anything
    EXPECT_EQ(owner.reasons, std::vector<std::string>{"unlock brisko"});
    lock->challenge();
    EXPECT_EQ(asked(), 1U);
    owner.answer(false);
    EXPECT_TRUE(window.covered);
    lock->challenge();
    EXPECT_EQ(asked(), 2U);
    owner.answer(true);
    EXPECT_FALSE(window.covered);
    lock->hide();
    lock->challenge();
    EXPECT_EQ(asked(), 3U);
    EXPECT_TRUE(window.covered);
    owner.available = OwnerAuthentication::Kind::none;
    owner.answer(false);
    lock->challenge();
    lock->challenge();
    EXPECT_EQ(asked(), 5U);
    EXPECT_TRUE(window.covered);
}

// The desktop's question is a window: it takes the keyboard, and the program is activated when it closes.
TEST_F(AppLockTest, doesNotAskAgainWhenItsOwnQuestionGivesTheActivityBack) {
    switchOn();
    for (const auto proved : {true, false}) {
        const auto before = asked();
        lock->challenge();
        lock->hide();
        owner.answer(proved);
        EXPECT_TRUE(window.covered);
        lock->challenge();
        EXPECT_EQ(window.covered, !proved);
        EXPECT_EQ(asked(), before + 1);
        // A later activation is the person's own.
        lock->hide();
        lock->challenge();
        EXPECT_EQ(asked(), before + 2);
        owner.answer(true);
        lock->hide();
    }
}

TEST_F(AppLockTest, forgetsAProofThatNoActivationFollows) {
    switchOn();
    lock->challenge();
    lock->hide();
    owner.answer(true);
    queue.advance(AppLock::returnTime);
    lock->challenge();
    EXPECT_TRUE(window.covered);
    EXPECT_EQ(asked(), 2U);
    // The time of an earlier proof does not end that of a later one.
    lock->hide();
    owner.answer(true);
    lock->challenge();
    EXPECT_FALSE(window.covered);
}

TEST_F(AppLockTest, whoSwitchesItOnHasProvedItAlready) {
    lock->challenge();
    ask("turn on the lock for brisko");
    lock->hide();
    owner.answer(true);
    switchOn();
    EXPECT_EQ(answers, std::vector{true});
    lock->challenge();
    EXPECT_FALSE(window.covered);
    EXPECT_EQ(asked(), 1U);
}

TEST_F(AppLockTest, answersEachQuestionOnceInTheirTurn) {
    switchOn();
    ask("turn on the lock for brisko");
    ask("turn on the lock for brisko");
    lock->challenge();
    EXPECT_EQ(owner.asking(), 1U);
    owner.answer(false);
    EXPECT_EQ(answers, std::vector{false});
    EXPECT_EQ(owner.asking(), 1U);
    owner.answer(true);
    EXPECT_EQ(answers, (std::vector{false, true}));
    EXPECT_EQ(owner.reasons.back(), "unlock brisko");
    EXPECT_TRUE(window.covered);
    // What is asked outlives the lock's owner.
    lock.reset();
    owner.answer(true);
    EXPECT_FALSE(window.covered);
}
