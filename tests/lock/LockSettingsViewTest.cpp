#include "lock/LockSettingsView.h"

#include "lock/PasscodeStore.h"

namespace {

using Text = const std::string&;

class LockSettingsViewTest : public testing::Test {
protected:
    PasscodeStore store;
    std::shared_ptr<LockSettingsView> view;
    Scenario::Sight drawn;
    Scenario story{[this] { return sight(); }, deeds()};

    void SetUp() override {
        store.set("123456");
        open(true);
    }
    void open(bool canSetPasscode) {
        LockSettingsView::Callbacks callbacks;
        callbacks.onChangePasscode = [this](int length) { story.said += "-> " + std::to_string(length); };
        callbacks.onDone = [this] { story.said += "-> done"; };
        view = LockSettingsView::make(canSetPasscode, callbacks, store.passcode, store.defaults,
                                      [this] { story.said += "applied"; });
        view->changed = [this] { drawn = draw(); };
        drawn = draw();
    }

private:
    /// What a person sees, "" where nothing can be done about it.
    Scenario::Sight draw() const {
        const auto& state = view->state();
        const auto minutes = std::to_string(state.minutes) + " " + view->minutesUnit().substr(0, 7);
        return {{"passcode", std::to_string(state.digits) + (view->canChange() ? "" : " for good") +
                                 (view->canTurnOff() && view->canChooseLength() ? " or none" : "")},
                {"lockable", Scenario::flag(view->canSwitchAutoLock())},
                {"after", view->canEditMinutes() ? minutes : ""},
                {"shortcut", view->canRecord() ? view->recordLabel() : ""},
                {"clearable", Scenario::flag(view->canClear())},
                {"message", view->message().value_or("")}};
    }
    Scenario::Sight sight() const {
        auto seen = drawn;
        for (const std::string key :
             {"lock.auto", "lock.minutes", "lock.shortcut.flags", "lock.shortcut.key"}) {
            const auto stored = store.preference(key);
            seen.emplace_back(key.substr(key.rfind('.') + 1), stored.is_null() ? "" : stored.dump());
        }
        return seen;
    }
    /// "100000 k": its modifiers as stored, ⇧ 20000, ⌃ 40000, ⌥ 80000, ⌘ 100000, and what it types.
    void press(Text key) {
        const auto space = key.find(' ');
        const LockSettingsView::KeyPress pressed = {key.substr(space + 1), std::stoul(key, nullptr, 16),
                                                    key.ends_with("escape")};
        story.said += view->press(pressed) ? "" : ", not taken";
    }
    Scenario::Deeds deeds() {
        return {{"open", [this](Text by) { open(by != "Google"); }},
                {"change", [this](Text) { view->change(); }},
                {"pick", [this](Text length) { view->pickLength(std::stoi(length)); }},
                {"turn-off", [this](Text) { view->turnOff(); }},
                {"lock", [this](Text is) { view->setAutoLock(is == "on"); }},
                {"type", [this](Text minutes) { view->editMinutes(std::stoi(minutes)); }},
                {"step", [this](Text step) { view->stepMinutes(std::stoi(step)); }},
                {"record", [this](Text) { view->toggleRecording(); }},
                {"press", [this](Text key) { press(key); }},
                {"clear", [this](Text) { view->clearShortcut(); }},
                {"default", [this](Text) { view->useDefaultShortcut(); }},
                {"leave", [this](Text) { view->disappeared(); }},
                {"disk", [this](Text is) { store.defaults.broken = is == "full"; }},
                {"done", [this](Text) { view->done(); }}};
    }
};

} // namespace

TEST_F(LockSettingsViewTest, changesOrTurnsOffThePasscodeAndOffersNothingElseWhereThereIsNone) {
    EXPECT_EQ(view->changeLabel(), "Change…");
    EXPECT_FALSE(view->autoLockHint() || view->sealingHint());
    // The panel is left once.
    story.play(
        {{"pick 6", ""},
         {"pick 8, done, change", "-> 8"},
         {"open, change", "-> 6"},
         {"open, record", "shortcut Press the keys…"},
         {"turn-off, done, change, press 100000 k",
          "-> done, not taken; passcode 0; no lockable; no after; no shortcut; no clearable; auto false"}});
    EXPECT_TRUE(!view->state().autoLock && store.shape() == "none");
    story.play({{"open, turn-off, pick 6, lock on, step 1, record, clear, default", ""},
                {"change", "-> 4"},
                {"open Google, change", "passcode 0 for good"}});
    EXPECT_TRUE(view->autoLockHint() && view->sealingHint());
}

TEST_F(LockSettingsViewTest, storesEveryMinuteWithinTheRangeAndShowsWhatWasTyped) {
    story.play({{"type 0", "after 0 minutes; minutes 1"},
                {"type 500", "after 500 minutes; minutes 240"},
                {"type 1", "after 1 minute ; minutes 1"},
                {"step -1", ""},
                {"type 0, step 1", "after 2 minutes; minutes 2"},
                {"type 999, step -1", "after 239 minutes; minutes 239"},
                {"lock off, type 60", "no after; auto false"}});
}

TEST_F(LockSettingsViewTest, recordsAKeyWithAModifierAndLetsNoOtherKeyThrough) {
    for (const auto* stop : {"press 100000 escape", "record", "leave"}) {
        story.play({{"record", "shortcut Press the keys…"}});
        EXPECT_TRUE(view->shortcutHint().starts_with("Hold a modifier")) << view->shortcutHint();
        story.play({{stop, "shortcut ⌃⌘L"}, {"press 100000 k", ", not taken"}});
    }
    story.play(
        {{"record, press 0 k, press 20000 K, press 100000 , press 120000 !", "shortcut Press the keys…"},
         {"press A0000 K", "applied; shortcut ⌥⇧K; flags 655360; key \"k\""},
         {"record, press 40000 Ж", "applied; shortcut ⌃Ж; flags 262144; key \"ж\""},
         {"record, press 110100 1", "applied; shortcut ⌘1; flags 1048576; key \"1\""},
         {"default", "applied; shortcut ⌃⌘L; no flags; no key"},
         {"record, clear", "applied; shortcut None; no clearable; flags 0; key \"\""},
         {"clear", ""},
         // What stands is shown when nothing can be stored.
         {"disk full, turn-off", "message No space left on device"},
         {"lock off", ""},
         {"record, press 100000 k", ""},
         {"disk back, lock off", "no after; no message; auto false"}});
}
