#include "web/Bridge.h"

#include "fakes/FakeProgram.h"
#include "platform/Outcome.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

class BridgeTest : public testing::Test {
protected:
    FakeProgram program;
    std::unique_ptr<Bridge> bridge = std::make_unique<Bridge>(program.bridge());
    Json& enabled = program.account.defaults.values["brisko.lock.enabled"];

    std::shared_ptr<Outcome<Json>> call(const std::string& name, Json options = nullptr) {
        return begin(bridge->call({{"name", name}, {"options", std::move(options)}}));
    }
    /// What the call is answered with at once.
    std::string value(const std::string& name, Json options = nullptr) {
        return call(name, std::move(options))->value.value().dump();
    }
};

} // namespace

TEST_F(BridgeTest, refusesWhatIsNoCall) {
    for (const auto* body : {R"("text")", "null", "[]", "{}", R"({"name": 7})"})
        EXPECT_EQ(begin(bridge->call(parseJson(body)))->message(), "brisko: malformed call") << body;
    EXPECT_EQ(call("LockEnabled")->message(), "brisko: no such call LockEnabled");
}

TEST_F(BridgeTest, asksForThePermissionToNotifyAndTellsIt) {
    EXPECT_EQ(value("notificationStatus"), R"({"status":"prompt"})");
    const auto asked = call("requestNotifications", 7);
    EXPECT_FALSE(asked->value);
    program.question.answer(NotificationQuestion::Answer::allow);
    EXPECT_EQ(asked->value, (Json{{"status", "granted"}}));
    EXPECT_EQ(value("notificationStatus"), R"({"status":"granted"})");
}

TEST_F(BridgeTest, replacesThePendingRemindersByWhateverListItIsGiven) {
    const auto at =
        std::chrono::floor<std::chrono::milliseconds>((program.clock.time + 1h)).time_since_epoch();
    const Json item = {{"id", 7}, {"title", "Pay rent"}, {"at", at.count()}};
    for (const auto& noItems : {Json{{"items", {item, 7}}}, Json{{"items", item}}, Json()}) {
        EXPECT_EQ(value("syncReminders", {{"items", {item}}}), R"({"cleared":0,"scheduled":1})");
        EXPECT_EQ(value("syncReminders", noItems), R"({"cleared":1,"scheduled":0})") << noItems;
        EXPECT_TRUE(program.center.pending.empty());
    }
}

TEST_F(BridgeTest, turnsTheSystemsLockOnForTheOwnerOnlyAndOffForEverybody) {
    enabled = false;
    for (const bool proved : {false, true}) {
        const auto asked = call("setLockEnabled", {{"enabled", true}});
        EXPECT_EQ(program.owner.reasons.back(), "turn on the lock for brisko");
        EXPECT_FALSE(asked->value);
        EXPECT_EQ(value("lockEnabled"), R"({"enabled":false})");
        bridge.reset(); // its page goes while the owner is asked
        program.owner.answer(proved);
        EXPECT_EQ(asked->value, (Json{{"enabled", proved}}));
        bridge = std::make_unique<Bridge>(program.bridge());
        EXPECT_EQ(value("lockEnabled"), asked->value->dump());
    }
    for (const auto* options : {"{}", R"({"enabled": "true"})", R"({"enabled": 1})", "[]"}) {
        enabled = true;
        EXPECT_EQ(value("setLockEnabled", parseJson(options)), R"({"enabled":false})");
        EXPECT_EQ(enabled, Json(false)) << options;
    }
    EXPECT_EQ(program.owner.reasons.size(), 2U);
    program.account.defaults.broken = true;
    EXPECT_TRUE(call("setLockEnabled")->failure) << "said to be off although it may not be";
}

TEST_F(BridgeTest, tellsHowTheOwnerCanBeAskedAndSumsUpTheLock) {
    using Kind = OwnerAuthentication::Kind;
    for (const auto& [kind, answer] : {std::pair(Kind::finger, R"({"available":true,"kind":"touchId"})"),
                                       std::pair(Kind::password, R"({"available":true,"kind":"passcode"})"),
                                       std::pair(Kind::none, R"({"available":false,"kind":"none"})")}) {
        program.owner.available = kind;
        EXPECT_EQ(value("biometryAvailable"), answer);
    }
    EXPECT_EQ(value("lockSummary"), R"({"autoLock":false,"digits":0,"hasPasscode":false,"minutes":5})");
    spawn(program.passcode.set(SecretText("184312"), "ann", SecretText("secret")));
    program.account.defaults.values["brisko.lock.minutes"] = 1000;
    EXPECT_EQ(value("lockSummary"), R"({"autoLock":true,"digits":6,"hasPasscode":true,"minutes":240})");
}

TEST_F(BridgeTest, opensTheLockSettingsForAUsernameAndAnswersWhenTheyAreDone) {
    EXPECT_EQ(call("openLockSettings")->message(), "brisko: no window to open it over");
    std::function<void()> done;
    std::string known;
    bridge->showLockSettings = [&](std::function<void()> then) {
        done = std::move(then);
        known = program.account.remembered.username();
        return true;
    };
    for (const auto& username : {Json("ann"), Json("bob"), Json(7), Json()}) {
        const auto asked = call("openLockSettings", {{"username", username}});
        EXPECT_EQ(known, "ann") << "the panel is built before the username is known, or with " << username;
        EXPECT_FALSE(asked->value);
        EXPECT_TRUE(call("lockEnabled")->value) << "held up by the open panel";
        done();
        EXPECT_EQ(asked->value, (Json{{"ok", true}}));
    }
}
