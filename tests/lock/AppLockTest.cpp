#include "lock/AppLock.h"

#include "fakes/FakeLock.h"
#include "platform/Outcome.h"
#include "platform/Walk.h"

namespace {

class AppLockTest : public testing::Test {
protected:
    FakeUserDefaults defaults;
    FakeOwnerAuthentication owner;
    FakeWindow window;
    FakeMainQueue queue;
    std::shared_ptr<AppLock> lock = AppLock::make(defaults, owner, window, queue);
    Screen screen;
    std::vector<std::shared_ptr<Outcome<bool>>> pageAnswers;
    const std::map<std::string, std::function<void()>> steps = {
        {"on", [this] { defaults.values["brisko.lock.enabled"] = true; }},
        {"off", [this] { defaults.values["brisko.lock.enabled"] = false; }},
        {"activate", [this] { lock->challenge(); }},
        {"hide", [this] { lock->hide(); }},
        {"yes", [this] { owner.answer(true); }},
        {"no", [this] { owner.answer(false); }},
        {"wait", [this] { queue.advance(AppLock::returnTime); }},
        {"locked", [this] { window.overlay = &screen; }},
        {"unlocked", [this] { window.overlay = nullptr; }},
        {"page", [this] { pageAnswers.push_back(begin(lock->proveForPage("turn on"))); }},
        {"switched-on", [this] { lock->switchedOn(); }},
    };

    /// The window is seen "open" or "covered", with "?" where the step has the desktop ask a question.
    void expect(const std::string& taken, const std::string& seen) {
        walk(taken, seen, [this](const std::string& step) {
            const auto asked = owner.reasons.size();
            steps.at(step)();
            return (window.covered ? "covered" : "open") + std::string(owner.reasons.size() - asked, '?');
        });
    }
};

} // namespace

TEST_F(AppLockTest, asksAtEachActivationOnceItIsSwitchedOnButOnlyOneQuestionAtATime) {
    expect("activate  hide  on    hide     off      activate",
           "open      open  open  covered  covered  open");
    // Active from the start, and still nobody has proved anything.
    expect("on    activate  activate  no       activate  yes   hide     activate  no       activate",
           "open  covered?  covered   covered  covered?  open  covered  covered?  covered  covered?");
    EXPECT_EQ(owner.reasons.front(), "unlock brisko");
    // What is asked outlives the lock's owner.
    lock.reset();
    expect("yes", "open");
}

TEST_F(AppLockTest, letsThePageAskOnceWhileItIsSeenAndTheUnlockGoFirst) {
    expect("page  activate  locked  page  unlocked  page   page  yes   hide  page",
           "open  open      open    open  open      open?  open  open  open  open");
    const auto told = [this] {
        std::string text;
        for (const auto& answer : std::exchange(pageAnswers, {}))
            text += answer->value ? *answer->value ? 'y' : 'n' : '-';
        return text;
    };
    EXPECT_EQ(told(), "nnynn");
    expect("activate  page   on    hide     activate  yes   page   hide",
           "open      open?  open  covered  covered?  open  open?  covered");
    EXPECT_EQ(told(), "n-") << "withdrawn for the unlock";
    // Nobody is there when the answer comes, or from the start.
    expect("off      activate  page  yes   hide  on    switched-on",
           "covered  open      open  open  open  open  covered");
}

// The desktop's question is a window: it takes the keyboard, and the program is activated when it closes.
TEST_F(AppLockTest, doesNotAskAgainWhenItsOwnQuestionGivesTheActivityBack) {
    // The activation after that one is the person's own.
    expect("on    activate  hide     yes      activate  hide     activate  hide     no",
           "open  covered?  covered  covered  open      covered  covered?  covered  covered");
    expect("activate  hide     activate  yes", "covered   covered  covered?  open");
    // A proof that no activation follows is forgotten; the time of an earlier one does not end that of a
    // later one.
    expect("activate  hide     yes      wait     activate  hide     yes      activate",
           "covered?  covered  covered  covered  covered?  covered  covered  open");
}
