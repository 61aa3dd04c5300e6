#include "lock/LockSettingsView.h"

#include "lock/PasscodeStore.h"

#include <gtest/gtest.h>

namespace {

constexpr KeyModifiers command = KeyModifier::command, option = KeyModifier::option,
                       control = KeyModifier::control, shift = KeyModifier::shift;

class LockSettingsViewTest : public testing::Test {
protected:
    PasscodeStore store;
    std::string called; ///< by the panel
    int applied = 0;
    std::string drawn; ///< at the last change
    std::shared_ptr<LockSettingsView> view;

    void open(bool canSetPasscode = true) {
        LockSettingsView::Callbacks callbacks;
        callbacks.onChangePasscode = [this](int length) { called = "change to " + std::to_string(length); };
        callbacks.onDone = [this] { called = "done"; };
        view = LockSettingsView::make(canSetPasscode, callbacks, store.passcode, store.defaults,
                                      [this] { applied += 1; });
        view->changed = [this] { drawn = draw(); };
        drawn = draw();
        called.clear();
    }
    void openWithPasscode() {
        store.set("123456");
        open();
    }
    /// What can be used on the panel: "| Change… | Turn off | on | 5 minutes | ⌃⌘L | Clear |", and the
    /// message.
    std::string draw() const {
        const auto& state = view->state();
        const std::pair<bool, std::string> parts[] = {
            {view->canChange(), view->changeLabel()},
            {view->canTurnOff() && view->canChooseLength(), "Turn off"},
            {view->canSwitchAutoLock(), state.autoLock ? "on" : "off"},
            {view->canEditMinutes(), std::to_string(state.minutes) + " " + view->minutesUnit().substr(0, 7)},
            {view->canRecord(), view->recordLabel()},
            {view->canClear(), "Clear"}};
        std::string text = "|";
        for (const auto& [usable, label] : parts)
            text += usable ? " " + label + " |" : "";
        return text + view->message().value_or("");
    }
    /// Without the passcode's part.
    std::string rest() const { return drawn.substr(drawn.find("off |") + 5); }
    bool record(const char* text, KeyModifiers modifiers) { return view->press({text, modifiers, false}); }
    Json minutes() const { return store.preference("lock.minutes"); }
};

} // namespace

TEST_F(LockSettingsViewTest, offersNothingButAPasscodeWhereThereIsNone) {
    open();
    EXPECT_EQ(drawn, "| Set a passcode… |");
    EXPECT_EQ(view->passcodeStatus(),
              "Not set. Your password is the only way back in when a session runs out.");
    EXPECT_TRUE(view->autoLockHint() && !view->sealingHint());
    // Nothing else does anything either.
    view->turnOff();
    view->pickLength(6);
    view->setAutoLock(true);
    view->stepMinutes(1);
    view->toggleRecording();
    view->clearShortcut();
    view->useDefaultShortcut();
    EXPECT_TRUE(store.defaults.values.empty());
    EXPECT_EQ(draw() + called, "| Set a passcode… |");
    view->change();
    EXPECT_EQ(called, "change to 4");
    open(false);
    EXPECT_EQ(drawn, "|");
    EXPECT_TRUE(view->autoLockHint() && view->sealingHint());
    view->change();
    EXPECT_EQ(called, "");
}

TEST_F(LockSettingsViewTest, changesOrTurnsOffThePasscodeThatThereIs) {
    openWithPasscode();
    EXPECT_EQ(drawn, "| Change… | Turn off | on | 5 minutes | ⌃⌘L | Clear |");
    EXPECT_EQ(view->passcodeStatus(),
              "Set, 6 digits. It stands in for your password when the session has run out.");
    EXPECT_FALSE(view->autoLockHint() || view->sealingHint());
    view->pickLength(6);
    EXPECT_EQ(called, "");
    view->pickLength(8);
    EXPECT_EQ(called, "change to 8");
    open();
    view->change();
    view->done();
    EXPECT_EQ(called, "change to 6") << "it is left once";

    open();
    store.setPreference("lock.enabled", true);
    view->turnOff();
    EXPECT_EQ(drawn, "| Set a passcode… |");
    EXPECT_FALSE(view->state().autoLock || view->state().digits);
    EXPECT_EQ(store.shape(), "none");
    EXPECT_EQ(store.preference("lock.auto"), false);
    EXPECT_EQ(store.preference("lock.enabled"), true);
    view->done();
    view->change();
    EXPECT_EQ(called, "done");
}

TEST_F(LockSettingsViewTest, storesEveryMinuteWithinTheRangeAndShowsWhatWasTyped) {
    openWithPasscode();
    for (const auto& [typed, kept] : {std::pair(0, 1), {500, 240}, {1, 1}, {-7, 1}, {90, 90}}) {
        view->editMinutes(typed);
        const auto shown = std::to_string(typed) + (typed == 1 ? " minute  |" : " minutes |");
        EXPECT_EQ(rest(), " on | " + shown + " ⌃⌘L | Clear |");
        EXPECT_EQ(minutes(), kept);
    }
    for (const auto& [from, step, to] :
         {std::tuple(90, 1, 91), {1, -1, 1}, {0, 1, 2}, {239, 1, 240}, {240, 1, 240}, {999, -1, 239}}) {
        view->editMinutes(from);
        view->stepMinutes(step);
        EXPECT_EQ(view->state().minutes, to);
        EXPECT_EQ(minutes(), to);
    }
    view->setAutoLock(false);
    EXPECT_EQ(rest(), " off | ⌃⌘L | Clear |");
    EXPECT_EQ(store.preference("lock.auto"), false);
    view->editMinutes(60);
    EXPECT_EQ(minutes(), 239);
}

TEST_F(LockSettingsViewTest, recordsAKeyWithAModifierAndLetsNoOtherKeyThrough) {
    openWithPasscode();
    EXPECT_FALSE(record("k", command));
    view->toggleRecording();
    const std::pair<const char*, KeyModifiers> ignored[] = {
        {"k", 0}, {"K", shift}, {"", command}, {" ", control}, {"\t", command}, {"!", command | shift}};
    for (const auto& [text, modifiers] : ignored) {
        EXPECT_TRUE(record(text, modifiers)) << text;
        EXPECT_EQ(rest(), " on | 5 minutes | Press the keys… | Clear |") << text;
    }
    const std::tuple<const char*, KeyModifiers, const char*> taken[] = {{"K", option | shift, "⌥⇧K"},
                                                                        {"1", command, "⌘1"},
                                                                        {"Ж", control, "⌃Ж"},
                                                                        {"j", command | 0x10100, "⌘J"}};
    for (const auto& [text, modifiers, shown] : taken) {
        EXPECT_TRUE(record(text, modifiers)) << text;
        EXPECT_EQ(view->recordLabel(), shown);
        EXPECT_EQ(LockShortcut(store.defaults).display(), shown);
        view->toggleRecording();
    }
    EXPECT_EQ(applied, 4);
    EXPECT_EQ(store.preference("lock.shortcut.flags"), Json(command));
    view->useDefaultShortcut();
    EXPECT_TRUE(store.preference("lock.shortcut.key").is_null());
    view->toggleRecording();
    view->clearShortcut();
    EXPECT_EQ(rest(), " on | 5 minutes | None |");
    EXPECT_EQ(store.preference("lock.shortcut.flags"), 0);
    EXPECT_EQ(applied, 6);
}

TEST_F(LockSettingsViewTest, stopsRecordingByEscapeTheButtonAndLeavingTheScreen) {
    openWithPasscode();
    const std::function<void()> ways[] = {
        [this] { view->press({"", command, true}); }, [this] { view->toggleRecording(); },
        [this] { view->disappeared(); }, [this] { view->useDefaultShortcut(); }, [this] { view->turnOff(); }};
    for (const auto& stop : ways) {
        view->toggleRecording();
        EXPECT_EQ(view->shortcutHint(), "Hold a modifier — ⌘, ⌃ or ⌥ — and press a key. Escape cancels.");
        stop();
        EXPECT_EQ(drawn.find("Press"), std::string::npos) << drawn;
        EXPECT_FALSE(record("k", command));
    }
    EXPECT_EQ(applied, 1);
}

TEST_F(LockSettingsViewTest, keepsAndShowsWhatStandsWhenNothingCanBeStored) {
    openWithPasscode();
    store.defaults.broken = true;
    view->setAutoLock(false);
    EXPECT_EQ(rest(), " on | 5 minutes | ⌃⌘L | Clear |No space left on device");
    view->toggleRecording();
    record("k", command);
    EXPECT_EQ(rest(), " on | 5 minutes | ⌃⌘L | Clear |No space left on device");
    EXPECT_EQ(applied, 0);
    store.defaults.broken = false;
    view->setAutoLock(false);
    EXPECT_EQ(rest(), " off | ⌃⌘L | Clear |");
}
