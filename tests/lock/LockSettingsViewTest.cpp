#include "lock/LockSettingsView.h"

#include "lock/PasscodeStore.h"

#include <gtest/gtest.h>

namespace {

constexpr KeyModifiers command = KeyModifier::command, option = KeyModifier::option,
                       control = KeyModifier::control, shift = KeyModifier::shift;

class LockSettingsViewTest : public testing::Test {
protected:
    PasscodeStore store;
    std::vector<std::string> called;
    int applied = 0;
    int changes = 0;
    std::shared_ptr<LockSettingsView> view;

    void open(bool canSetPasscode = true) {
        LockSettingsView::Callbacks callbacks;
        callbacks.onChangePasscode = [this](int length) {
            called.push_back("change " + std::to_string(length));
        };
        callbacks.onDone = [this] { called.emplace_back("done"); };
        view = LockSettingsView::make(canSetPasscode, callbacks, store.passcode, store.defaults,
                                      [this] { applied += 1; });
        view->changed = [this] { changes += 1; };
    }
    void openWithPasscode(const std::string& code = "1234") {
        store.set(code);
        open();
    }
    /// What closing the panel by this action calls.
    template <class Action>
    std::vector<std::string> calledBy(Action action) {
        open();
        called.clear();
        action();
        return called;
    }
    bool record(const std::string& text, KeyModifiers modifiers) {
        return view->press({text, modifiers, false});
    }
    std::string shortcut() const {
        return LockShortcut(const_cast<FakeUserDefaults&>(store.defaults)).display();
    }
    Json minutes() const { return store.preference("lock.minutes"); }
};

using Called = std::vector<std::string>;

} // namespace

TEST_F(LockSettingsViewTest, offersNothingButAPasscodeWhereThereIsNone) {
    open();
    EXPECT_EQ(view->passcodeStatus(),
              "Not set. Your password is the only way back in when a session runs out.");
    EXPECT_EQ(view->changeLabel(), "Set a passcode…");
    EXPECT_TRUE(view->canChange());
    EXPECT_FALSE(view->sealingHint());
    EXPECT_TRUE(view->autoLockHint());
    EXPECT_FALSE(view->canTurnOff() || view->canChooseLength() || view->canSwitchAutoLock() ||
                 view->canEditMinutes() || view->canRecord() || view->canClear());
    // None of it does anything either.
    view->turnOff();
    view->pickLength(6);
    view->setAutoLock(true);
    view->stepMinutes(1);
    view->toggleRecording();
    view->clearShortcut();
    view->useDefaultShortcut();
    EXPECT_TRUE(store.defaults.values.empty());
    EXPECT_TRUE(called.empty());
    EXPECT_EQ(calledBy([this] { view->change(); }), Called{"change 4"});

    open(false);
    EXPECT_FALSE(view->canChange());
    EXPECT_TRUE(view->sealingHint());
    called.clear();
    view->change();
    EXPECT_TRUE(called.empty());
}

TEST_F(LockSettingsViewTest, changesOrTurnsOffThePasscodeThatThereIs) {
    openWithPasscode("123456");
    EXPECT_EQ(view->passcodeStatus(),
              "Set, 6 digits. It stands in for your password when the session has run out.");
    EXPECT_EQ(view->changeLabel(), "Change…");
    EXPECT_FALSE(view->autoLockHint() || view->sealingHint());
    EXPECT_EQ(calledBy([this] { view->pickLength(6); }), Called());
    EXPECT_EQ(calledBy([this] { view->pickLength(8); }), Called{"change 8"});
    EXPECT_EQ(view->state().digits, 6);
    EXPECT_EQ(calledBy([this] { view->change(); }), Called{"change 6"});

    open();
    store.setPreference("lock.enabled", true);
    EXPECT_TRUE(view->state().autoLock);
    view->turnOff();
    EXPECT_FALSE(view->state().hasPasscode || view->state().autoLock);
    EXPECT_EQ(view->state().digits, 0);
    EXPECT_EQ(store.shape(), "none");
    EXPECT_FALSE(store.keychain.item);
    EXPECT_EQ(store.preference("lock.auto"), false);
    EXPECT_EQ(store.preference("lock.enabled"), true);
}

TEST_F(LockSettingsViewTest, isLeftOnceByOneWay) {
    store.set("1234");
    EXPECT_EQ(calledBy([this] {
                  view->done();
                  view->done();
                  view->pickLength(8);
                  view->change();
              }),
              Called{"done"});
}

TEST_F(LockSettingsViewTest, storesEveryMinuteWithinTheRangeAndShowsWhatWasTyped) {
    openWithPasscode();
    EXPECT_EQ(view->state().minutes, 5);
    for (const auto& [typed, kept] : {std::pair(0, 1), {500, 240}, {1, 1}, {-7, 1}, {90, 90}}) {
        view->editMinutes(typed);
        EXPECT_EQ(view->state().minutes, typed);
        EXPECT_EQ(minutes(), kept);
        EXPECT_EQ(view->minutesUnit().substr(0, 7), typed == 1 ? "minute " : "minutes");
    }
    for (const auto& [from, step, to] :
         {std::tuple(90, 1, 91), {1, -1, 1}, {0, 1, 2}, {239, 1, 240}, {240, 1, 240}, {999, -1, 239}}) {
        view->editMinutes(from);
        view->stepMinutes(step);
        EXPECT_EQ(view->state().minutes, to);
        EXPECT_EQ(minutes(), to);
    }
    view->setAutoLock(false);
    EXPECT_EQ(store.preference("lock.auto"), false);
    EXPECT_FALSE(view->canEditMinutes());
    view->editMinutes(60);
    EXPECT_EQ(minutes(), 239);
    store.setPreference("lock.minutes", 0);
    open();
    EXPECT_EQ(view->state().minutes, 5);
}

TEST_F(LockSettingsViewTest, recordsAKeyWithAModifierAndLetsNoOtherKeyThrough) {
    openWithPasscode();
    EXPECT_FALSE(record("k", command));
    // What is shown is empty where it goes on recording.
    const std::tuple<const char*, KeyModifiers, std::string> cases[] = {{"k", 0, ""},
                                                                        {"K", shift, ""},
                                                                        {"K", option | shift, "⌥⇧K"},
                                                                        {"1", command, "⌘1"},
                                                                        {"", command, ""},
                                                                        {" ", control, ""},
                                                                        {"\t", command, ""},
                                                                        {"!", command | shift, ""},
                                                                        {"Ж", control, "⌃Ж"},
                                                                        {"j", command | 0x10100, "⌘J"}};
    for (const auto& [text, modifiers, shown] : cases) {
        open();
        const auto before = shortcut();
        view->toggleRecording();
        EXPECT_EQ(view->recordLabel(), "Press the keys…");
        EXPECT_TRUE(record(text, modifiers)) << text;
        EXPECT_EQ(view->state().recording, shown.empty()) << text;
        EXPECT_EQ(shortcut(), shown.empty() ? before : shown);
        EXPECT_EQ(view->state().shortcut, shortcut());
    }
    EXPECT_EQ(applied, 4);
    EXPECT_EQ(store.preference("lock.shortcut.flags"), Json(command));
}

TEST_F(LockSettingsViewTest, stopsRecordingByEscapeTheButtonAndLeavingTheScreen) {
    openWithPasscode();
    for (const auto& stop :
         {std::function([this] { view->press({"", command, true}); }),
          std::function([this] { view->toggleRecording(); }), std::function([this] { view->disappeared(); }),
          std::function([this] { view->turnOff(); })}) {
        view->toggleRecording();
        EXPECT_EQ(view->shortcutHint(), "Hold a modifier — ⌘, ⌃ or ⌥ — and press a key. Escape cancels.");
        stop();
        EXPECT_FALSE(view->state().recording);
        EXPECT_FALSE(record("k", command));
    }
    EXPECT_EQ(applied, 0);
}

TEST_F(LockSettingsViewTest, clearsTheShortcutAndGoesBackToTheDefault) {
    openWithPasscode();
    view->toggleRecording();
    view->clearShortcut();
    EXPECT_EQ(view->recordLabel(), "None");
    EXPECT_EQ(shortcut(), "None");
    EXPECT_EQ(store.preference("lock.shortcut.flags"), 0);
    EXPECT_FALSE(view->canClear());
    view->toggleRecording();
    view->useDefaultShortcut();
    EXPECT_EQ(view->recordLabel(), "⌃⌘L");
    EXPECT_TRUE(store.preference("lock.shortcut.key").is_null());
    EXPECT_TRUE(view->canClear());
    EXPECT_EQ(applied, 2);
}

TEST_F(LockSettingsViewTest, keepsAndShowsWhatStandsWhenNothingCanBeStored) {
    openWithPasscode();
    store.defaults.broken = true;
    view->setAutoLock(false);
    EXPECT_TRUE(view->state().autoLock);
    EXPECT_EQ(view->message(), "No space left on device");
    view->toggleRecording();
    record("k", command);
    EXPECT_EQ(view->state().shortcut, "⌃⌘L");
    EXPECT_FALSE(view->state().recording);
    EXPECT_EQ(applied, 0);
    store.defaults.broken = false;
    changes = 0;
    view->setAutoLock(false);
    EXPECT_FALSE(view->message());
    EXPECT_EQ(changes, 1);
}
