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
    static std::string told(const std::shared_ptr<Outcome<Json>>& asked) {
        return asked->failure ? asked->message() : asked->value ? asked->value->dump() : "nothing yet";
    }
    std::string value(const std::string& name, Json options = nullptr) {
        return told(call(name, std::move(options)));
    }
};

} // namespace

TEST_F(BridgeTest, refusesWhatIsNoCallAnswersWhatThePageMayKnowAndTakesWhateverRemindersItIsGiven) {
    for (const auto* body : {"null", "[]", R"({"name": 7})"})
        EXPECT_EQ(told(begin(bridge->call(parseJson(body)))), "brisko: malformed call") << body;
    for (const auto& name : {std::string("LockEnabled"), std::string("lockEnabled\0", 12)})
        EXPECT_EQ(value(name), "brisko: no such call " + std::string(name.c_str()));
    EXPECT_EQ(value("notificationStatus"), R"({"status":"prompt"})");
    const auto asked = call("requestNotifications", 7);
    EXPECT_EQ(told(asked), "nothing yet");
    program.question.answer(NotificationQuestion::Answer::allow);
    EXPECT_EQ(told(asked) + value("notificationStatus"), R"({"status":"granted"}{"status":"granted"})");
    EXPECT_EQ(value("biometryAvailable"), R"({"available":true,"kind":"passcode"})");
    program.owner.available = OwnerAuthentication::Kind::none;
    EXPECT_EQ(value("biometryAvailable"), R"({"available":false,"kind":"none"})");
    EXPECT_EQ(value("lockSummary"), R"({"autoLock":false,"digits":0,"hasPasscode":false,"minutes":5})");
    spawn(program.passcode.set(SecretText("184312"), "ann", SecretText("secret")));
    program.account.defaults.values["brisko.lock.minutes"] = 1000;
    EXPECT_EQ(value("lockSummary"), R"({"autoLock":true,"digits":6,"hasPasscode":true,"minutes":240})");

    const auto at = std::chrono::floor<std::chrono::milliseconds>(program.clock.time + 1h);
    const Json item = {{"id", 7}, {"title", "Pay rent"}, {"at", at.time_since_epoch().count()}};
    for (const auto& noItems : {Json{{"items", {item, 7}}}, Json{{"items", item}}, Json()}) {
        EXPECT_EQ(value("syncReminders", {{"items", {item}}}), R"({"cleared":0,"scheduled":1})");
        EXPECT_EQ(value("syncReminders", noItems), R"({"cleared":1,"scheduled":0})") << noItems;
    }
}

TEST_F(BridgeTest, turnsTheSystemsLockOnForTheOwnerOnlyAndOffForEverybody) {
    enabled = false;
    program.appLock->challenge();
    for (const auto proved : {false, true}) {
        const auto asked = call("setLockEnabled", {{"enabled", true}});
        EXPECT_EQ(program.owner.reasons.back(), "turn on the lock for brisko");
        EXPECT_EQ(told(asked) + value("lockEnabled"), R"(nothing yet{"enabled":false})");
        bridge.reset(); // its page goes while the owner is asked
        program.owner.answer(proved);
        bridge = std::make_unique<Bridge>(program.bridge());
        EXPECT_EQ(told(asked), proved ? R"({"enabled":true})" : R"({"enabled":false})");
        EXPECT_EQ(value("lockEnabled"), told(asked));
    }
    for (const auto* options : {"{}", R"({"enabled": "true"})", "[]"}) {
        enabled = true;
        EXPECT_EQ(value("setLockEnabled", parseJson(options)), R"({"enabled":false})");
        EXPECT_EQ(enabled, Json(false)) << options;
    }
    EXPECT_EQ(program.owner.reasons.size(), 2U);
    program.account.defaults.broken = true;
    EXPECT_TRUE(call("setLockEnabled")->failure) << "said to be off although it may not be";
}

TEST_F(BridgeTest, opensTheLockSettingsForAUsernameAndAnswersWhenTheyAreDone) {
    EXPECT_EQ(value("openLockSettings"), "brisko: no window to open it over");
    std::function<void()> done;
    std::string known;
    bridge->showLockSettings = [&](std::function<void()> then) {
        done = std::move(then);
        known = program.account.remembered.username();
        return true;
    };
    for (const auto& username : {Json("ann"), Json("bob"), Json(7)}) {
        const auto asked = call("openLockSettings", {{"username", username}});
        EXPECT_EQ(known, "ann") << "the panel is built before the username is known, or with " << username;
        EXPECT_EQ(told(asked), "nothing yet");
        done();
        EXPECT_EQ(told(asked), R"({"ok":true})");
    }
}
