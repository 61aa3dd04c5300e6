#include "lock/Passcode.h"

#include "lock/PasscodeStore.h"

using namespace std::chrono_literals;

namespace {

const std::string broken = "The saved passcode could not be read. Sign in with your password.";

class PasscodeTest : public testing::Test {
protected:
    PasscodeStore store;

    double seconds(std::chrono::duration<double> fromNow) const {
        return (std::chrono::duration<double>(store.clock.time.time_since_epoch()) + fromNow).count();
    }
    void lockOut() { store.passcode.setLockedUntil(store.clock.time + 60s); }
    void expectCleared() const {
        EXPECT_FALSE(store.keychain.item);
        EXPECT_EQ(Json(store.defaults.values).dump(),
                  R"({"brisko.lock.auto":true,"brisko.passcode.failures":0})");
    }
    /// The record with one member that is another, or none.
    std::string damaged(const std::string& member, const std::optional<Json>& value) const {
        auto record = store.record();
        record.erase(member);
        if (value)
            record[member] = *value;
        return record.dump();
    }
};

} // namespace

TEST_F(PasscodeTest, keepsThePasswordUnderThePasscodeAndNeverInTheClear) {
    EXPECT_EQ(store.set("2468", "zoë", "pässwörd"), "done");
    EXPECT_EQ(Json(store.defaults.values).dump(), R"({"brisko.lock.auto":true,"brisko.passcode.digits":4,)"
                                                  R"("brisko.passcode.failures":0,)"
                                                  R"("brisko.passcode.username":"zoë"})");
    EXPECT_EQ(store.shape(), "4 zoë");
    EXPECT_EQ(store.keychain.item->find("pässwörd"), std::string::npos);
    EXPECT_EQ(store.unlock("2468"), "zoë: pässwörd");

    const auto first = store.record();
    EXPECT_EQ(first["salt"].get<std::string>().size(), 24U);
    store.set("2468", "zoë", "pässwörd");
    EXPECT_NE(store.record()["salt"], first["salt"]);
    EXPECT_NE(store.record()["sealed"].get<std::string>().substr(0, 16),
              first["sealed"].get<std::string>().substr(0, 16));
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
        store.expect("set   clear", "done  done");
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
    store.expect("set   0000    0000    1234         0000    00001234  0001",
                 "done  2 left  1 left  ann: secret  2 left  1 left    locked for 300000 ms");
    EXPECT_DOUBLE_EQ(store.preference("passcode.lockedUntil").get<double>(), seconds(300s));
    // Neither is a try during a lock-out counted, nor the keyring asked.
    store.keychain.unavailable = "Locked.";
    store.expect("1234                  0000", "locked for 300000 ms  locked for 300000 ms");
    store.clock.time -= 1h;
    EXPECT_EQ(store.unlock("1234"), "locked for 3900000 ms");
    store.clock.time += 1h + 299'999ms;
    EXPECT_EQ(store.unlock("1234"), "locked for 1 ms");
    store.clock.time += 1ms;
    EXPECT_FALSE(store.passcode.lockedUntil());
    EXPECT_TRUE(store.preference("passcode.lockedUntil").is_null());
    store.expect("back   0000    0000    0000", "4 ann  2 left  1 left  locked for 300000 ms");
    store.clock.time += 24h;
    EXPECT_EQ(store.unlock("1234"), "ann: secret") << "a clock set forward ends it";
}

TEST_F(PasscodeTest, endsALockOutWithANewPasscodeAndWithNone) {
    lockOut();
    EXPECT_EQ(store.passcode.lockedUntil(), store.clock.time + 60s);
    store.setPreference("passcode.failures", 2);
    store.expect("set   0000", "done  2 left");
    lockOut();
    store.clear();
    expectCleared();
    lockOut();
    store.passcode.setLockedUntil(std::nullopt);
    EXPECT_FALSE(store.passcode.lockedUntil());
}

TEST_F(PasscodeTest, clearsAndSaysSoWhenTheRecordIsMissingOrUnreadable) {
    store.expect("set   0000", "done  2 left");
    const auto preferences = store.defaults.values;
    std::vector<std::optional<std::string>> records = {std::nullopt, "",  "null",
                                                       "[]",         "{", store.record().dump() + "x"};
    for (const auto* member : {"digits", "username", "salt", "sealed"})
        for (const auto& value :
             {std::optional<Json>(), std::optional<Json>(nullptr), std::optional(Json::array())})
            records.emplace_back(damaged(member, value));
    for (const auto& digits : {Json("4"), Json(4.5), Json(true), Json(1ULL << 63)})
        records.emplace_back(damaged("digits", digits));
    for (const auto* text :
         {"AAECAwQFBgcICQoLDA0ODw", "AAECAwQFBgcICQoLDA0OD\n==", "AAE*", "AAECAwQFBgcICQoLDA0ODx=="})
        for (const auto* member : {"salt", "sealed"})
            records.emplace_back(damaged(member, text));
    for (const auto& record : records) {
        store.defaults.values = preferences;
        store.keychain.item = record;
        EXPECT_EQ(store.unlock("1234"), broken) << record.value_or("none");
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
        store.keychain.item = damaged(member, text);
        store.expect("1234    start", "2 left  4 ann");
    }
    store.set("1234", "ann", "not UTF-8: \xff");
    EXPECT_EQ(store.unlock("1234"), "2 left");
}

TEST_F(PasscodeTest, leavesEverythingAsItWasWhenTheKeyringRefusesTheRecord) {
    store.expect("set   0000", "done  2 left");
    const auto preferences = store.defaults.values;
    for (const auto& [text, seen] : {std::pair("No space", "No space"), {"", "error -25293"}}) {
        store.keychain.refusal = Keychain::Refused(text, -25293);
        EXPECT_EQ(store.set("888888"), std::string("The keychain would not store it: ") + seen);
        EXPECT_EQ(store.defaults.values, preferences);
    }
    EXPECT_EQ(store.unlock("1234"), "ann: secret");
}

TEST_F(PasscodeTest, countsNothingAndClearsNothingWhileTheKeyringCannotBeAsked) {
    store.expect("set   0000    gone", "done  2 left  4 ann");
    const auto preferences = store.defaults.values;
    const std::string locked = "The keyring could not be opened: Locked.  ";
    store.expect("1234  0000  1234", locked + locked + locked);
    EXPECT_EQ(store.defaults.values, preferences);
    store.expect("other  start", locked + "4 ann");
    store.expect("back   0000    gone   clear  start", "4 ann  1 left  4 ann  done   none");
    EXPECT_TRUE(store.keychain.item);
    store.expect("back  start", "none  none");
    EXPECT_FALSE(store.keychain.item) << "the next start removes it";
}

TEST_F(PasscodeTest, triesNothingThatItCannotCount) {
    store.set("1234");
    const auto preferences = store.defaults.values;
    store.defaults.broken = true;
    store.expect("other", "No space left on device");
    store.expect("1234",
                 "The passcode was not tried, because the try could not be counted: No space left on device");
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
    const auto setting = begin(store.passcode.set(SecretText("888888"), "bob", SecretText("other")));
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
