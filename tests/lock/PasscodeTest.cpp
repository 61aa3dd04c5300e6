#include "lock/Passcode.h"

#include "lock/PasscodeRecord.h"
#include "lock/PasscodeStore.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

class PasscodeTest : public testing::Test {
protected:
    PasscodeStore store;

    double seconds(std::chrono::duration<double> fromNow) const {
        return (std::chrono::duration<double>(store.clock.time.time_since_epoch()) + fromNow).count();
    }
    void expectCleared() const {
        EXPECT_EQ(store.shape(), "none");
        EXPECT_FALSE(store.keychain.item);
        for (const auto* key :
             {"passcode.digits", "passcode.username", "passcode.lockedUntil", "passcode.changing"})
            EXPECT_TRUE(store.preference(key).is_null()) << key;
        EXPECT_EQ(store.preference("passcode.failures").get<int>(), 0);
    }
    Json record() const { return parseJson(*store.keychain.item); }
};

} // namespace

TEST_F(PasscodeTest, keepsThePasswordUnderThePasscodeAndNeverInTheClear) {
    EXPECT_EQ(store.shape(), "none");
    EXPECT_EQ(store.set("2468", "zoë", "pässwörd"), "set");
    EXPECT_EQ(store.shape(), "4 zoë");
    EXPECT_EQ(store.preference("passcode.digits").dump(), "4");
    EXPECT_EQ(store.preference("passcode.failures").dump(), "0");
    EXPECT_FALSE(store.defaults.values.contains("brisko.passcode.changing"));
    EXPECT_EQ(record()["digits"], 4);
    EXPECT_EQ(record()["salt"].get<std::string>().size(), 24U);
    EXPECT_EQ(store.keychain.item->find("pässwörd"), std::string::npos);
    EXPECT_EQ(store.unlock("2468"), "zoë: pässwörd");

    const auto first = record();
    EXPECT_EQ(store.set("2468", "zoë", "pässwörd"), "set");
    EXPECT_NE(record()["salt"], first["salt"]);
    EXPECT_NE(record()["sealed"].get<std::string>().substr(0, 16),
              first["sealed"].get<std::string>().substr(0, 16));
}

TEST_F(PasscodeTest, countsCharactersAndNotBytes) {
    const std::pair<const char*, int> cases[] = {
        {"", 0},     {"12345678", 8}, {"٤٥٦٧", 4}, {"1\u20e32\u20e3", 2}, {"👨‍👩‍👧9", 2},
        {"\r\n7", 2}};
    for (const auto& [code, digits] : cases) {
        EXPECT_EQ(store.set(code), "set");
        EXPECT_EQ(store.preference("passcode.digits"), digits) << code;
        EXPECT_EQ(record()["digits"], digits) << code;
        EXPECT_EQ(store.unlock(code), "ann: secret") << code;
    }
}

TEST_F(PasscodeTest, turnsTheIdleLockOnWithTheFirstPasscodeOnly) {
    store.set("1234");
    EXPECT_EQ(store.preference("lock.auto"), true);
    for (const auto& choice : {Json(false), Json(true), Json("odd")}) {
        store.setPreference("lock.auto", choice);
        store.set("1234");
        store.clear();
        EXPECT_EQ(store.preference("lock.auto"), choice);
    }
}

TEST_F(PasscodeTest, takesPreferencesOfAnotherTypeForNone) {
    const auto expectShape = [this](const Json& digits, const Json& username, const std::string& shape) {
        store.setPreference("passcode.digits", digits);
        store.setPreference("passcode.username", username);
        EXPECT_EQ(store.shape(), shape) << digits << " " << username;
    };
    expectShape(4, "ann", "4 ann");
    expectShape(1, "", "1 ");
    for (const auto& digits : {Json(), Json(0), Json(-4), Json("4"), Json(true), Json(4.0), Json(1ULL << 63)})
        expectShape(digits, "ann", "none");
    for (const auto& username : {Json(), Json(7), Json::array({"ann"})})
        expectShape(4, username, "none");

    for (const auto& until : {Json("9e9"), Json(true), Json(0), Json(-5.0), Json::array()}) {
        store.setPreference("passcode.lockedUntil", until);
        EXPECT_FALSE(store.passcode.lockedUntil()) << until;
    }
    store.setPreference("passcode.lockedUntil", 1e300);
    EXPECT_EQ(store.passcode.lockedUntil(), Clock::time_point::max());
    store.clear();

    store.set("1234");
    for (const auto& failures : {Json("2"), Json(-9), Json(2.0), Json(false)}) {
        store.setPreference("passcode.failures", failures);
        EXPECT_EQ(store.unlock("0000"), "wrong, 2 left") << failures;
    }
    store.setPreference("passcode.failures", std::numeric_limits<int>::max());
    EXPECT_EQ(store.unlock("0000"), "locked for 300000 ms");
}

TEST_F(PasscodeTest, locksForFiveMinutesAfterThreeWrongTriesInARow) {
    store.set("1234");
    EXPECT_EQ(store.unlock("0000"), "wrong, 2 left");
    EXPECT_EQ(store.unlock("0000"), "wrong, 1 left");
    EXPECT_EQ(store.unlock("1234"), "ann: secret");
    EXPECT_EQ(store.unlock("0000"), "wrong, 2 left");
    EXPECT_EQ(store.unlock("00001234"), "wrong, 1 left");
    EXPECT_EQ(store.unlock(""), "locked for 300000 ms");
    EXPECT_EQ(store.message(), "Too many wrong tries.");
    EXPECT_EQ(store.preference("passcode.failures"), 0);
    EXPECT_DOUBLE_EQ(store.preference("passcode.lockedUntil").get<double>(), seconds(300s));
}

TEST_F(PasscodeTest, refusesTriesUntilTheVeryEndOfTheLockOut) {
    const auto start = store.clock.time;
    store.set("1234");
    store.setPreference("passcode.lockedUntil", seconds(300s));
    const auto asked = store.keychain.started;
    for (const auto& [passed, words] :
         {std::pair(0ms, "locked for 300000 ms"), std::pair(299'999ms, "locked for 1 ms"),
          std::pair(-3'600'000ms, "locked for 3900000 ms")}) {
        store.clock.time = start + passed;
        EXPECT_EQ(store.unlock("1234"), words) << passed.count();
        EXPECT_EQ(store.preference("passcode.failures"), 0) << "not counted";
    }
    EXPECT_EQ(store.keychain.started, asked) << "the keyring is not asked either";

    store.clock.time = start + 300s;
    EXPECT_FALSE(store.passcode.lockedUntil());
    EXPECT_TRUE(store.preference("passcode.lockedUntil").is_null());
    for (const auto* words : {"wrong, 2 left", "wrong, 1 left", "locked for 300000 ms"})
        EXPECT_EQ(store.unlock("0000"), words) << "three tries again";
    store.clock.time += 24h;
    EXPECT_EQ(store.unlock("1234"), "ann: secret") << "a clock set forward ends it";
}

TEST_F(PasscodeTest, endsALockOutWithANewPasscodeAndWithNone) {
    store.passcode.setLockedUntil(store.clock.time + 60s);
    EXPECT_EQ(store.passcode.lockedUntil(), store.clock.time + 60s);
    store.setPreference("passcode.failures", 2);
    store.set("1234");
    EXPECT_FALSE(store.passcode.lockedUntil());
    EXPECT_EQ(store.unlock("0000"), "wrong, 2 left");

    store.passcode.setLockedUntil(store.clock.time + 60s);
    store.clear();
    expectCleared();
    store.passcode.setLockedUntil(store.clock.time + 60s);
    store.passcode.setLockedUntil(std::nullopt);
    EXPECT_FALSE(store.passcode.lockedUntil());
}

TEST_F(PasscodeTest, clearsAndSaysSoWhenTheRecordIsMissingOrUnreadable) {
    store.set("1234");
    const auto whole = record();
    std::vector<std::optional<std::string>> records = {std::nullopt, "",  "null",
                                                       "[]",         "{", whole.dump() + "x"};
    const auto damaged = [&whole](const char* member, const Json& value) {
        auto record = whole;
        record[member] = value;
        return record.dump();
    };
    for (const auto* member : {"digits", "username", "salt", "sealed"}) {
        auto record = whole;
        record.erase(member);
        records.emplace_back(record.dump());
        records.emplace_back(damaged(member, nullptr));
        records.emplace_back(damaged(member, Json::array()));
    }
    for (const auto& digits : {Json("4"), Json(4.5), Json(true), Json(1ULL << 63)})
        records.emplace_back(damaged("digits", digits));
    for (const auto* member : {"salt", "sealed"})
        for (const auto* text :
             {"AAECAwQFBgcICQoLDA0ODw", "AAECAwQFBgcICQoLDA0OD\n==", "AAE*", "AAECAwQFBgcICQoLDA0ODx=="})
            records.emplace_back(damaged(member, text));

    store.unlock("0000");
    const auto preferences = store.defaults.values;
    for (const auto& record : records) {
        store.defaults.values = preferences;
        store.keychain.item = record;
        EXPECT_EQ(store.unlock("1234"), "broken") << record.value_or("none");
        expectCleared();
    }
}

TEST_F(PasscodeTest, countsAWrongTryWhenTheSealIsWellFormedButDoesNotOpen) {
    const std::pair<const char*, const char*> cases[] = {
        {"salt", ""},
        {"salt", "AAECAwQFBgcICQoLDA0ODw=="},
        {"sealed", ""},
        {"sealed", "AAAA"},
        {"sealed", "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8="}};
    for (const auto& [member, text] : cases) {
        store.set("1234");
        auto damaged = record();
        damaged[member] = text;
        store.keychain.item = damaged.dump();
        EXPECT_EQ(store.unlock("1234"), "wrong, 2 left") << damaged;
        EXPECT_EQ(store.shape(), "4 ann");
    }
    store.set("1234", "ann", "not UTF-8: \xff");
    EXPECT_EQ(store.unlock("1234"), "wrong, 2 left");
}

TEST_F(PasscodeTest, ignoresTheOrderOfTheMembersAndFurtherOnes) {
    store.set("1234");
    const auto kept = record();
    store.keychain.item = R"( {"later": [{}], "sealed": )" + kept["sealed"].dump() + R"(, "salt": )" +
                          kept["salt"].dump() + R"(, "username": "ann", "digits": 4} )";
    EXPECT_EQ(store.unlock("1234"), "ann: secret");
}

TEST_F(PasscodeTest, leavesEverythingAsItWasWhenTheKeyringRefusesTheRecord) {
    store.set("1234");
    store.unlock("0000");
    const auto preferences = store.defaults.values;
    const std::pair<Keychain::Refused, const char*> cases[] = {
        {Keychain::Refused("No space left on device", 3),
         "The keychain would not store it: No space left on device"},
        {Keychain::Refused("", -25293), "The keychain would not store it: error -25293"}};
    for (const auto& [refusal, message] : cases) {
        store.keychain.refusal = refusal;
        EXPECT_EQ(store.set("888888", "bob", "other"), "refused");
        EXPECT_EQ(store.message(), message);
        EXPECT_EQ(store.defaults.values, preferences);
    }
    EXPECT_EQ(store.unlock("1234"), "ann: secret");
}

TEST_F(PasscodeTest, countsNothingAndClearsNothingWhileTheKeyringCannotBeAsked) {
    store.set("1234");
    store.unlock("0000");
    const auto preferences = store.defaults.values;
    const auto item = store.keychain.item;
    store.keychain.unavailable = "It is locked.";
    for (int time = 0; time < 5; ++time)
        EXPECT_EQ(store.unlock("1234"), "unavailable");
    EXPECT_EQ(store.defaults.values, preferences);
    EXPECT_EQ(store.set("888888"), "unavailable");
    EXPECT_EQ(store.shape(), "4 ann");
    store.launch();
    EXPECT_EQ(store.shape(), "4 ann");
    EXPECT_EQ(store.keychain.item, item);
    store.keychain.unavailable.reset();
    EXPECT_EQ(store.unlock("0000"), "wrong, 1 left");

    store.keychain.unavailable = "It is locked.";
    EXPECT_EQ(store.clear(), "cleared");
    EXPECT_EQ(store.shape(), "none");
    EXPECT_TRUE(store.keychain.item);
    store.keychain.unavailable.reset();
    store.launch();
    EXPECT_FALSE(store.keychain.item) << "the next start removes it";
}

TEST_F(PasscodeTest, triesNothingThatItCannotCount) {
    store.set("1234");
    const auto preferences = store.defaults.values;
    store.defaults.broken = true;
    EXPECT_EQ(store.unlock("1234"), "unavailable");
    EXPECT_EQ(store.message(), "The passcode was not tried, because the try could not be counted: "
                               "No space left on device");
    EXPECT_EQ(store.set("888888"), "error");
    EXPECT_EQ(store.defaults.values, preferences);
    EXPECT_EQ(record()["digits"], 4);
    store.setPreference("passcode.lockedUntil", seconds(0s));
    EXPECT_FALSE(store.passcode.lockedUntil()) << "over, though it cannot be removed";

    store.clear();
    EXPECT_FALSE(store.keychain.item) << "the password goes, though the shape cannot";
    store.defaults.broken = false;
    EXPECT_EQ(store.unlock("1234"), "broken");
    expectCleared();
}

TEST_F(PasscodeTest, runsOneOperationAfterAnotherWhileThePersonIsAsked) {
    store.set("1234");
    store.keychain.hold = true;
    const auto clearing = store.operations.clear();
    const auto setting = store.operations.set("888888", "bob", "other");
    const auto unlocking = store.operations.unlock("888888");
    for (const auto& operation : {clearing, setting, unlocking}) {
        EXPECT_FALSE(*operation);
        store.keychain.release();
        EXPECT_TRUE(*operation);
    }
    EXPECT_EQ(*setting, "set");
    EXPECT_EQ(*unlocking, "bob: other");
    EXPECT_EQ(store.shape(), "6 bob");
}

TEST_F(PasscodeTest, writesNothingAtTheFirstStartOfAll) {
    store.launch();
    EXPECT_TRUE(store.defaults.values.empty());
}
