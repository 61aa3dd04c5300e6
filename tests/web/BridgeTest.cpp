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

    std::shared_ptr<Outcome<Json>> call(const std::string& body) { return start(parseJson(body)); }
    std::shared_ptr<Outcome<Json>> start(Json body) { return begin(bridge->call(std::move(body))); }
    Json value(const std::string& body) { return call(body)->value.value(); }
};

} // namespace

TEST_F(BridgeTest, refusesWhatIsNoCall) {
    for (const auto* body : {R"("text")", "null", "[]", "{}", R"({"name": 7})"})
        EXPECT_EQ(call(body)->message(), "brisko: malformed call") << body;
    for (const std::string name : {"LockEnabled", ""})
        EXPECT_EQ(start(Json{{"name", name}})->message(), "brisko: no such call " + name);
}

TEST_F(BridgeTest, tellsAndAsksForThePermissionToNotify) {
    EXPECT_EQ(value(R"({"name": "notificationStatus"})"), parseJson(R"({"status": "prompt"})"));
    const auto asked = call(R"({"name": "requestNotifications", "options": 7})");
    EXPECT_FALSE(asked->value);
    program.question.answer(NotificationQuestion::Answer::allow);
    EXPECT_EQ(asked->value, parseJson(R"({"status": "granted"})"));
    EXPECT_EQ(value(R"({"name": "notificationStatus"})"), parseJson(R"({"status": "granted"})"));
}

TEST_F(BridgeTest, replacesThePendingRemindersByWhateverListItIsGiven) {
    const auto at =
        std::chrono::duration<double, std::milli>((program.clock.time + 1h).time_since_epoch()).count();
    const Json item = {{"id", 7}, {"title", "Pay rent"}, {"at", at}};
    const auto sync = [&](Json options) {
        const auto outcome = start(Json{{"name", "syncReminders"}, {"options", std::move(options)}});
        return outcome->value.value();
    };
    EXPECT_EQ(sync({{"items", {item}}}), (Json{{"scheduled", 1}, {"cleared", 0}}));
    EXPECT_TRUE(sync({{"items", {item}}})["scheduled"].is_number_integer());
    EXPECT_EQ(sync({{"items", {item, 7}}}), (Json{{"scheduled", 0}, {"cleared", 1}}))
        << "no array of objects";
    sync({{"items", {item}}});
    EXPECT_EQ(sync({{"items", item}}), (Json{{"scheduled", 0}, {"cleared", 1}}));
    sync({{"items", {item}}});
    EXPECT_EQ(value(R"({"name": "syncReminders"})"), (Json{{"scheduled", 0}, {"cleared", 1}}));
    EXPECT_TRUE(program.center.pending.empty());
}

TEST_F(BridgeTest, turnsTheSystemsLockOnForTheOwnerOnlyAndOffForEverybody) {
    const auto enabled = [&] { return value(R"({"name": "lockEnabled"})")["enabled"].get<bool>(); };
    EXPECT_FALSE(enabled());
    const auto* const on = R"({"name": "setLockEnabled", "options": {"enabled": true}})";
    auto asked = call(on);
    EXPECT_EQ(program.owner.reasons.back(), "turn on the lock for brisko");
    EXPECT_FALSE(asked->value || enabled());
    program.owner.answer(false);
    EXPECT_EQ(asked->value, parseJson(R"({"enabled": false})"));
    EXPECT_FALSE(enabled());
    asked = call(on);
    bridge.reset(); // its page goes while the owner is asked
    program.owner.answer(true);
    EXPECT_EQ(asked->value, parseJson(R"({"enabled": true})"));
    bridge = std::make_unique<Bridge>(program.bridge());
    for (const auto* options :
         {"{}", R"({"enabled": "true"})", R"({"enabled": 1})", R"({"enabled": false})", "[]"}) {
        program.account.defaults.values["brisko.lock.enabled"] = true;
        EXPECT_TRUE(enabled());
        EXPECT_EQ(value(std::string(R"({"name": "setLockEnabled", "options": )") + options + "}"),
                  parseJson(R"({"enabled": false})"));
        EXPECT_FALSE(enabled()) << options;
    }
    EXPECT_EQ(program.owner.reasons.size(), 2U);
    program.account.defaults.broken = true;
    EXPECT_TRUE(call(R"({"name": "setLockEnabled"})")->failure) << "said to be off although it may not be";
}

TEST_F(BridgeTest, tellsHowTheOwnerCanBeAsked) {
    using Kind = OwnerAuthentication::Kind;
    for (const auto& [kind, answer] :
         {std::pair(Kind::finger, R"({"available": true, "kind": "touchId"})"),
          std::pair(Kind::password, R"({"available": true, "kind": "passcode"})"),
          std::pair(Kind::none, R"({"available": false, "kind": "none"})")}) {
        program.owner.available = kind;
        EXPECT_EQ(value(R"({"name": "biometryAvailable"})"), parseJson(answer));
    }
}

TEST_F(BridgeTest, sumsUpTheLock) {
    const auto summary = [&] { return value(R"({"name": "lockSummary"})"); };
    EXPECT_EQ(summary(),
              parseJson(R"({"hasPasscode": false, "digits": 0, "autoLock": false, "minutes": 5})"));
    spawn(program.passcode.set(SecretText("184312"), "ann", SecretText("secret")));
    program.account.defaults.values["brisko.lock.minutes"] = 1000;
    EXPECT_EQ(summary(),
              parseJson(R"({"hasPasscode": true, "digits": 6, "autoLock": true, "minutes": 240})"));
}

TEST_F(BridgeTest, opensTheLockSettingsForAUsernameAndAnswersWhenTheyAreDone) {
    const auto* const open = R"({"name": "openLockSettings", "options": {"username": "ann"}})";
    EXPECT_EQ(call(open)->message(), "brisko: no window to open it over");
    std::function<void()> done;
    std::string known;
    bridge->showLockSettings = [&](std::function<void()> then) {
        done = std::move(then);
        known = program.account.remembered.username();
        return true;
    };
    program.account.defaults.values.clear();
    auto asked = call(open);
    EXPECT_EQ(known, "ann") << "the panel is built before the username is known";
    EXPECT_FALSE(asked->value);
    EXPECT_TRUE(call(R"({"name": "lockEnabled"})")->value) << "held up by the open panel";
    done();
    EXPECT_EQ(asked->value, parseJson(R"({"ok": true})"));
    for (const auto* other : {R"({"username": "bob"})", R"({"username": 7})", "{}"}) {
        call(std::string(R"({"name": "openLockSettings", "options": )") + other + "}");
        EXPECT_EQ(program.account.remembered.username(), "ann");
        done();
    }
}
