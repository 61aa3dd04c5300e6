#include "lock/LockSettingsView.h"

#include "lock/PasscodeStore.h"

namespace {

constexpr KeyModifiers command = KeyModifier::command, option = KeyModifier::option,
                       control = KeyModifier::control, shift = KeyModifier::shift;

class LockSettingsViewTest : public testing::Test {
protected:
    PasscodeStore store;
    int applied = 0;
    std::shared_ptr<LockSettingsView> view;

    void open(bool canSetPasscode = true) {
        LockSettingsView::Callbacks callbacks;
        callbacks.onChangePasscode = [this](int length) { called += " -> " + std::to_string(length); };
        callbacks.onDone = [this] { called += " -> done"; };
        view = LockSettingsView::make(canSetPasscode, callbacks, store.passcode, store.defaults,
                                      [this] { applied += 1; });
        view->changed = [this] { drawn = draw(); };
        drawn = draw();
    }
    void openWithPasscode() {
        store.set("123456");
        open();
    }
    /// The steps are those in the table, and numbers typed as minutes. After each is seen what the panel has
    /// drawn, and what it has called.
    void expect(const std::string& taken, const std::string& seen) {
        walk(taken, seen, [this](const std::string& step) {
            if (const auto known = steps.find(step); known != steps.end())
                known->second();
            else
                view->editMinutes(std::stoi(step));
            return drawn + std::exchange(called, "");
        });
    }
    bool record(const char* text, KeyModifiers modifiers) { return view->press({text, modifiers, false}); }

private:
    /// What can be changed: the passcode, by its length; the automatic lock and its minutes; the shortcut,
    /// with "x" to clear it. And the message.
    std::string draw() const {
        const auto& state = view->state();
        auto text = std::to_string(state.digits) + (view->canChange() ? " digits" : "");
        text += view->canTurnOff() && view->canChooseLength() ? " or none" : "";
        text += !view->canSwitchAutoLock() ? "" : state.autoLock ? ", on" : ", off";
        if (view->canEditMinutes())
            text += " " + std::to_string(state.minutes) + " " + view->minutesUnit().substr(0, 7);
        text += (view->canRecord() ? ", " + view->recordLabel() : "") + (view->canClear() ? " x" : "");
        return text + (view->message() ? ": " + *view->message() : "");
    }

    std::string drawn, called;
    const std::map<std::string, std::function<void()>> steps = {
        {"change", [this] { view->change(); }},
        {"six", [this] { view->pickLength(6); }},
        {"eight", [this] { view->pickLength(8); }},
        {"turn off", [this] { view->turnOff(); }},
        {"on", [this] { view->setAutoLock(true); }},
        {"off", [this] { view->setAutoLock(false); }},
        {"up", [this] { view->stepMinutes(1); }},
        {"down", [this] { view->stepMinutes(-1); }},
        {"record", [this] { view->toggleRecording(); }},
        {"⌘K", [this] { record("k", command); }},
        {"escape", [this] { view->press({"", command, true}); }},
        {"clear", [this] { view->clearShortcut(); }},
        {"default", [this] { view->useDefaultShortcut(); }},
        {"leave", [this] { view->disappeared(); }},
        {"done", [this] { view->done(); }},
    };
};

} // namespace

TEST_F(LockSettingsViewTest, offersNothingButAPasscodeWhereThereIsNone) {
    open();
    EXPECT_EQ(view->passcodeStatus(),
              "Not set. Your password is the only way back in when a session runs out.");
    EXPECT_EQ(view->changeLabel(), "Set a passcode…");
    EXPECT_TRUE(view->autoLockHint() && !view->sealingHint());
    expect("turn off  six       on        up        record    clear     default   change",
           "0 digits  0 digits  0 digits  0 digits  0 digits  0 digits  0 digits  0 digits -> 4");
    EXPECT_TRUE(store.defaults.values.empty());
    open(false);
    EXPECT_TRUE(view->autoLockHint() && view->sealingHint());
    expect("change", "0");
}

TEST_F(LockSettingsViewTest, changesOrTurnsOffThePasscodeThatThereIs) {
    openWithPasscode();
    EXPECT_EQ(view->passcodeStatus(),
              "Set, 6 digits. It stands in for your password when the session has run out.");
    EXPECT_EQ(view->changeLabel(), "Change…");
    EXPECT_FALSE(view->autoLockHint() || view->sealingHint());
    // The panel is left once.
    const std::string whole = "6 digits or none, on 5 minutes, ⌃⌘L x";
    expect("six  eight  done", whole + "  " + whole + " -> 8  " + whole);
    open();
    expect("change", whole + " -> 6");
    open();
    store.setPreference("lock.enabled", true);
    expect("turn off  done              change", "0 digits  0 digits -> done  0 digits");
    EXPECT_FALSE(view->state().autoLock);
    EXPECT_EQ(store.shape(), "none");
    EXPECT_EQ(store.preference("lock.auto"), false);
    EXPECT_EQ(store.preference("lock.enabled"), true);
}

TEST_F(LockSettingsViewTest, storesEveryMinuteWithinTheRangeAndShowsWhatWasTyped) {
    openWithPasscode();
    // After each: what the field shows, and what is stored.
    const std::tuple<const char*, const char*, int> cases[] = {
        {"0", "0 minutes", 1},      {"500", "500 minutes", 240}, {"1", "1 minute ", 1},
        {"-7", "-7 minutes", 1},    {"90", "90 minutes", 90},    {"up", "91 minutes", 91},
        {"1", "1 minute ", 1},      {"down", "1 minute ", 1},    {"0", "0 minutes", 1},
        {"up", "2 minutes", 2},     {"239", "239 minutes", 239}, {"up", "240 minutes", 240},
        {"up", "240 minutes", 240}, {"999", "999 minutes", 240}, {"down", "239 minutes", 239}};
    for (const auto& [step, shown, stored] : cases) {
        expect(step, std::string("6 digits or none, on ") + shown + ", ⌃⌘L x");
        EXPECT_EQ(store.preference("lock.minutes"), stored) << step;
    }
    expect("off                            60", "6 digits or none, off, ⌃⌘L x  6 digits or none, off, ⌃⌘L x");
    EXPECT_EQ(store.preference("lock.auto"), false);
    EXPECT_EQ(store.preference("lock.minutes"), 239);
}

TEST_F(LockSettingsViewTest, recordsAKeyWithAModifierAndLetsNoOtherKeyThrough) {
    openWithPasscode();
    EXPECT_FALSE(record("k", command));
    expect("record", "6 digits or none, on 5 minutes, Press the keys… x");
    const std::pair<const char*, KeyModifiers> ignored[] = {
        {"k", 0}, {"K", shift}, {"", command}, {" ", control}, {"\t", command}, {"!", command | shift}};
    for (const auto& [text, modifiers] : ignored)
        EXPECT_TRUE(record(text, modifiers) && view->state().recording) << text;
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
    expect("default                                 record  clear",
           "6 digits or none, on 5 minutes, ⌃⌘L x  6 digits or none, on 5 minutes, Press the keys… x  "
           "6 digits or none, on 5 minutes, None");
    EXPECT_EQ(store.preference("lock.shortcut.flags"), 0);
    EXPECT_EQ(applied, 6);
}

TEST_F(LockSettingsViewTest, stopsRecordingByEscapeTheButtonAndLeavingTheScreen) {
    openWithPasscode();
    for (const auto* stop : {"escape", "record", "leave", "default"}) {
        view->toggleRecording();
        EXPECT_EQ(view->shortcutHint(), "Hold a modifier — ⌘, ⌃ or ⌥ — and press a key. Escape cancels.");
        expect(stop, "6 digits or none, on 5 minutes, ⌃⌘L x");
        EXPECT_FALSE(record("k", command));
    }
    view->toggleRecording();
    expect("turn off  ⌘K", "0 digits  0 digits");
    EXPECT_EQ(applied, 1);
}

TEST_F(LockSettingsViewTest, keepsAndShowsWhatStandsWhenNothingCanBeStored) {
    openWithPasscode();
    store.defaults.broken = true;
    const std::string full = "6 digits or none, on 5 minutes, ⌃⌘L x: No space left on device";
    expect("off", full);
    view->toggleRecording();
    expect("⌘K", full);
    EXPECT_EQ(applied, 0);
    store.defaults.broken = false;
    expect("off", "6 digits or none, off, ⌃⌘L x");
}
