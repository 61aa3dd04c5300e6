#include "lock/Passcode.h"

#include "lock/PasscodeRecord.h"
#include "lock/PasscodeStore.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

constexpr auto broken = "The saved passcode could not be read. Sign in with your password.";
constexpr auto isLocked = "The keyring could not be opened: It is locked.";

Json with(Json record, const std::string& member, const Json& value) {
    record[member] = value;
    return record;
}
Json without(Json record, const std::string& member) {
    record.erase(member);
    return record;
}

/// What a record's members cannot be.
const std::vector<Json> noBytes = {nullptr,
                                   Json::array(),
                                   "AAECAwQFBgcICQoLDA0ODw",
                                   "AAECAwQFBgcICQoLDA0OD\n==",
                                   "AAE*",
                                   "AAECAwQFBgcICQoLDA0ODx=="};
const std::map<std::string, std::vector<Json>> unreadable = {
    {"digits", {nullptr, Json::array(), "4", 4.5, true, 1ULL << 63}},
    {"username", {nullptr, Json::array()}},
    {"salt", noBytes},
    {"sealed", noBytes}};

class PasscodeTest : public testing::Test {
protected:
    PasscodeStore store;

    double seconds(std::chrono::duration<double> fromNow) const {
        return (std::chrono::duration<double>(store.clock.time.time_since_epoch()) + fromNow).count();
    }
    void expectCleared() const {
        EXPECT_FALSE(store.keychain.item);
        for (const auto* key : {"digits", "username", "lockedUntil", "changing"})
            EXPECT_TRUE(store.preference(std::string("passcode.") + key).is_null()) << key;
        EXPECT_EQ(store.preference("passcode.failures").get<int>(), 0);
    }
};

} // namespace

TEST_F(PasscodeTest, keepsThePasswordUnderThePasscodeAndNeverInTheClear) {
    EXPECT_EQ(store.shape(), "none");
    EXPECT_EQ(store.set("2468", "zoë", "pässwörd"), "done");
    EXPECT_EQ(Json(store.defaults.values).dump(), R"({"brisko.lock.auto":true,"brisko.passcode.digits":4,)"
                                                  R"("brisko.passcode.failures":0,)"
                                                  R"("brisko.passcode.username":"zoë"})");
    EXPECT_EQ(store.shape(), "4 zoë");
    EXPECT_EQ(store.unlock("2468"), "zoë: pässwörd");
    const auto first = store.keychain.item.value();
    EXPECT_EQ(first.find("pässwörd"), std::string::npos);
    const auto saltOf = [](const Json& record) { return record["salt"].get<std::string>(); };
    const auto nonceOf = [](const Json& record) { return record["sealed"].get<std::string>().substr(0, 16); };
    EXPECT_EQ(saltOf(parseJson(first)).size(), 24U);
    store.set("2468", "zoë", "pässwörd");
    EXPECT_NE(saltOf(store.record()), saltOf(parseJson(first)));
    EXPECT_NE(nonceOf(store.record()), nonceOf(parseJson(first)));
}

TEST_F(PasscodeTest, countsCharactersAndNotBytes) {
    const std::pair<const char*, int> cases[] = {
        {"", 0},     {"12345678", 8}, {"٤٥٦٧", 4}, {"1\u20e32\u20e3", 2}, {"👨‍👩‍👧9", 2},
        {"\r\n7", 2}};
    for (const auto& [code, digits] : cases) {
        store.set(code);
        EXPECT_EQ(store.preference("passcode.digits"), digits) << code;
        EXPECT_EQ(store.record()["digits"], digits) << code;
        EXPECT_EQ(store.unlock(code), "ann: secret") << code;
    }
}

TEST_F(PasscodeTest, turnsTheIdleLockOnWithTheFirstPasscodeOnly) {
    for (const auto& choice : {Json(false), Json(true), Json("odd")}) {
        store.setPreference("lock.auto", choice);
        store.set("1234");
        store.clear();
        EXPECT_EQ(store.preference("lock.auto"), choice);
    }
}

TEST_F(PasscodeTest, takesPreferencesOfAnotherTypeForNone) {
    const auto shape = [this](const Json& digits, const Json& username) {
        store.setPreference("passcode.digits", digits);
        store.setPreference("passcode.username", username);
        return store.shape();
    };
    EXPECT_EQ(shape(1, ""), "1 ");
    for (const auto& digits : {Json(), Json(0), Json(-4), Json("4"), Json(true), Json(4.0), Json(1ULL << 63)})
        EXPECT_EQ(shape(digits, "ann"), "none") << digits;
    for (const auto& username : {Json(), Json(7), Json::array({"ann"})})
        EXPECT_EQ(shape(4, username), "none") << username;

    for (const auto& until : {Json("9e9"), Json(true), Json(0), Json(-5.0), Json::array()}) {
        store.setPreference("passcode.lockedUntil", until);
        EXPECT_FALSE(store.passcode.lockedUntil()) << until;
    }
    store.setPreference("passcode.lockedUntil", 1e300);
    EXPECT_EQ(store.passcode.lockedUntil(), Clock::time_point::max());

    store.set("1234");
    for (const auto& failures : {Json("2"), Json(-9), Json(2.0), Json(false)}) {
        store.setPreference("passcode.failures", failures);
        EXPECT_EQ(store.unlock("0000"), "2 left") << failures;
    }
    store.setPreference("passcode.failures", std::numeric_limits<int>::max());
    EXPECT_EQ(store.unlock("0000"), "locked for 300000 ms");
}

TEST_F(PasscodeTest, locksForFiveMinutesAfterThreeWrongTriesInARow) {
    store.set("1234");
    EXPECT_EQ(store.tries({"0000", "0000", "1234", "0000", "00001234", ""}),
              "2 left, 1 left, ann: secret, 2 left, 1 left, locked for 300000 ms");
    EXPECT_EQ(store.preference("passcode.failures"), 0);
    EXPECT_DOUBLE_EQ(store.preference("passcode.lockedUntil").get<double>(), seconds(300s));

    const auto start = store.clock.time;
    const auto asked = store.keychain.started;
    for (const auto& [passed, words] :
         {std::pair(0ms, "locked for 300000 ms"), std::pair(299'999ms, "locked for 1 ms"),
          std::pair(-3'600'000ms, "locked for 3900000 ms")}) {
        store.clock.time = start + passed;
        EXPECT_EQ(store.unlock("1234"), words);
    }
    EXPECT_EQ(store.preference("passcode.failures"), 0) << "a try during a lock-out is not counted";
    EXPECT_EQ(store.keychain.started, asked) << "the keyring is not asked either";
    store.clock.time = start + 300s;
    EXPECT_FALSE(store.passcode.lockedUntil());
    EXPECT_TRUE(store.preference("passcode.lockedUntil").is_null());
    EXPECT_EQ(store.tries({"0000", "0000", "0000"}), "2 left, 1 left, locked for 300000 ms");
    store.clock.time += 24h;
    EXPECT_EQ(store.unlock("1234"), "ann: secret") << "a clock set forward ends it";
}

TEST_F(PasscodeTest, endsALockOutWithANewPasscodeAndWithNone) {
    const auto lockOut = [this] { store.passcode.setLockedUntil(store.clock.time + 60s); };
    lockOut();
    EXPECT_EQ(store.passcode.lockedUntil(), store.clock.time + 60s);
    store.setPreference("passcode.failures", 2);
    store.set("1234");
    EXPECT_EQ(store.unlock("0000"), "2 left");
    lockOut();
    store.clear();
    expectCleared();
    lockOut();
    store.passcode.setLockedUntil(std::nullopt);
    EXPECT_FALSE(store.passcode.lockedUntil());
}

TEST_F(PasscodeTest, clearsAndSaysSoWhenTheRecordIsMissingOrUnreadable) {
    store.set("1234");
    store.unlock("0000");
    const auto preferences = store.defaults.values;
    const auto whole = store.record();
    std::vector<std::optional<std::string>> records = {std::nullopt, "",  "null",
                                                       "[]",         "{", whole.dump() + "x"};
    for (const auto& [member, value] : whole.items())
        records.emplace_back(without(whole, member).dump());
    for (const auto& [member, values] : unreadable)
        for (const auto& value : values)
            records.emplace_back(with(whole, member, value).dump());
    for (const auto& record : records) {
        store.defaults.values = preferences;
        store.keychain.item = record;
        EXPECT_EQ(store.unlock("1234"), broken) << record.value_or("none");
        expectCleared();
    }
}

TEST_F(PasscodeTest, countsAWrongTryWhenTheSealIsWellFormedButDoesNotOpen) {
    for (const auto& [member, text] : {std::pair("salt", ""),
                                       {"salt", "AAECAwQFBgcICQoLDA0ODw=="},
                                       {"sealed", ""},
                                       {"sealed", "AAAA"},
                                       {"sealed", "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8="}}) {
        store.set("1234");
        store.keychain.item = with(store.record(), member, text).dump();
        EXPECT_EQ(store.unlock("1234"), "2 left") << *store.keychain.item;
        EXPECT_EQ(store.shape(), "4 ann");
    }
    store.set("1234", "ann", "not UTF-8: \xff");
    EXPECT_EQ(store.unlock("1234"), "2 left");
}

TEST_F(PasscodeTest, leavesEverythingAsItWasWhenTheKeyringRefusesTheRecord) {
    store.set("1234");
    store.unlock("0000");
    const auto preferences = store.defaults.values;
    const std::tuple<const char*, int, const char*> cases[] = {
        {"No space left on device", 3, "The keychain would not store it: No space left on device"},
        {"", -25293, "The keychain would not store it: error -25293"}};
    for (const auto& [text, code, words] : cases) {
        store.keychain.refusal = Keychain::Refused(text, code);
        EXPECT_EQ(store.set("888888", "bob", "other"), words);
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
        EXPECT_EQ(store.unlock("1234"), isLocked);
    EXPECT_EQ(store.defaults.values, preferences);
    EXPECT_EQ(store.set("888888"), isLocked);
    store.launch();
    EXPECT_EQ(store.shape(), "4 ann");
    EXPECT_EQ(store.keychain.item, item);
    store.keychain.unavailable.reset();
    EXPECT_EQ(store.unlock("0000"), "1 left");

    store.keychain.unavailable = "It is locked.";
    EXPECT_EQ(store.clear(), "done");
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
    EXPECT_EQ(store.unlock("1234"), "The passcode was not tried, because the try could not be counted: "
                                    "No space left on device");
    EXPECT_EQ(store.set("888888"), "No space left on device");
    EXPECT_EQ(store.defaults.values, preferences);
    EXPECT_EQ(store.record()["digits"], 4);
    store.setPreference("passcode.lockedUntil", seconds(0s));
    EXPECT_FALSE(store.passcode.lockedUntil()) << "over, though it cannot be removed";

    store.clear();
    EXPECT_FALSE(store.keychain.item) << "the password goes, though the shape cannot";
    store.defaults.broken = false;
    EXPECT_EQ(store.unlock("1234"), broken);
    expectCleared();
}

TEST_F(PasscodeTest, runsOneOperationAfterAnotherWhileThePersonIsAsked) {
    store.set("1234");
    store.keychain.hold = true;
    const auto clearing = begin(store.passcode.clear());
    const auto setting =
        begin(store.passcode.set(SecretText("888888"), "bob", SecretText(std::string_view("other"))));
    const auto unlocking = begin(store.passcode.unlock(SecretText("888888")));
    store.keychain.release();
    EXPECT_TRUE(clearing->ended() && !setting->ended());
    store.keychain.release();
    EXPECT_TRUE(setting->ended() && !unlocking->ended());
    store.keychain.release();
    EXPECT_EQ(wordsOf(unlocking, store.clock), "bob: other");
    EXPECT_EQ(store.shape(), "6 bob");
}

TEST_F(PasscodeTest, writesNothingAtTheFirstStartOfAll) {
    store.launch();
    EXPECT_TRUE(store.defaults.values.empty());
}
