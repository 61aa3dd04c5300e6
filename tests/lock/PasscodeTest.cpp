#include "lock/Passcode.h"

#include "lock/PasscodeStore.h"

#include <set>

namespace {

class PasscodeTest : public testing::Test {
protected:
    PasscodeStore store;
    Scenario& story = store.story;

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
    std::set<std::string> saltsAndNonces;
    for (auto times = 0; times < 2; ++times) {
        store.set("2468", "zoë", "pässwörd");
        EXPECT_EQ(Json(store.defaults.values).dump(),
                  R"({"brisko.lock.auto":true,"brisko.passcode.digits":4,"brisko.passcode.failures":0,)"
                  R"("brisko.passcode.username":"zoë"})");
        EXPECT_EQ(store.keychain.item->find("pässwörd"), std::string::npos);
        EXPECT_EQ(store.unlock("2468"), "zoë: pässwörd");
        const auto record = store.record();
        EXPECT_EQ(record["salt"].get<std::string>().size(), 24U);
        saltsAndNonces.insert({record["salt"], record["sealed"].get<std::string>().substr(0, 16)});
    }
    EXPECT_EQ(saltsAndNonces.size(), 4U);
}

TEST_F(PasscodeTest, countsCharactersAndNotBytes) {
    const std::pair<const char*, int> cases[] = {
        {"", 0},     {"12345678", 8},       {"\r\n7", 2},
        {"٤٥٦٧", 4}, {"1\u20e32\u20e3", 2}, {"👨‍👩‍👧9", 2}};
    for (const auto& [code, digits] : cases) {
        store.set(code);
        EXPECT_EQ(store.preference("passcode.digits"), digits) << code;
        EXPECT_EQ(store.unlock(code), "ann: secret") << code;
    }
}

TEST_F(PasscodeTest, takesPreferencesOfAnotherTypeForNone) {
    const auto expectShape = [this](const Json& digits, const Json& username, const char* shape) {
        store.setPreference("passcode.digits", digits);
        store.setPreference("passcode.username", username);
        EXPECT_EQ(store.shape(), shape) << digits << " " << username;
    };
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
    store.set("1234");
    for (const auto& failures : {Json("2"), Json(-9), Json(2.0), Json(false)}) {
        store.setPreference("passcode.failures", failures);
        EXPECT_EQ(store.unlock("0000"), "2 left") << failures;
    }
    store.setPreference("passcode.failures", std::numeric_limits<int>::max());
    EXPECT_EQ(store.unlock("0000"), "locked for 300000 ms");
}

TEST_F(PasscodeTest, locksForFiveMinutesAfterThreeWrongTriesInARow) {
    // The first start of all writes nothing; the first passcode of all turns the idle lock on.
    story.play({{"start", ""},
                {"set", R"(done; record 4 ann; digits 4; username "ann"; failures 0; auto true)"},
                {"try 0000, try 0000", "2 left, 1 left; failures 2"},
                {"try 1234", "ann: secret; failures 0"},
                {"try 0000, try 00001234", "2 left, 1 left; failures 2"},
                {"try 0001", "locked for 300000 ms; failures 0; lockedUntil 1800000300.0"},
                // Neither is a try during a lock-out counted, nor the keyring asked.
                {"keyring gone, try 1234, try 0000", "locked for 300000 ms, locked for 300000 ms"},
                {"pass -3600000, try 1234", "locked for 3900000 ms"},
                {"pass 3899999, try 1234", "locked for 1 ms"},
                {"pass 1, keyring back, try 0000, try 0000", "2 left, 1 left; failures 2; no lockedUntil"},
                // A clock set forward ends it, and a new passcode and none do.
                {"try 0000, pass 86400000, try 1234", "locked for 300000 ms, ann: secret; failures 0"}});
    const auto lockOut = store.clock.time + Passcode::lockOut;
    store.passcode.setLockedUntil(lockOut);
    story.play({{"other", R"(done; record 6 bob; digits 6; username "bob"; no lockedUntil)"}});
    store.passcode.setLockedUntil(lockOut);
    store.passcode.setLockedUntil(std::nullopt);
    EXPECT_FALSE(store.passcode.lockedUntil());
    store.passcode.setLockedUntil(lockOut);
    store.setPreference("passcode.failures", 2);
    store.setPreference("lock.auto", false);
    story.play({{"clear", "no record; no digits; no username; failures 0; no lockedUntil"},
                {"set", R"(done; record 4 ann; digits 4; username "ann")"}});
}

TEST_F(PasscodeTest, tellsARecordThatIsUnreadableAndGoesFromASealThatDoesNotOpen) {
    store.set("1234");
    const auto preferences = store.defaults.values;
    std::vector<std::optional<std::string>> unreadable = {{},   "",  "null",
                                                          "[]", "{", *store.keychain.item + "x"};
    for (const auto* member : {"digits", "username", "salt", "sealed"})
        for (const auto& value :
             {std::optional<Json>(), std::optional<Json>(nullptr), std::optional(Json::array())})
            unreadable.emplace_back(damaged(member, value));
    for (const auto& digits : {Json("4"), Json(4.5), Json(true), Json(1ULL << 63)})
        unreadable.emplace_back(damaged("digits", digits));
    for (const auto* text :
         {"AAECAwQFBgcICQoLDA0ODw", "AAECAwQFBgcICQoLDA0OD\n==", "AAE*", "AAECAwQFBgcICQoLDA0ODx=="})
        for (const auto* member : {"salt", "sealed"})
            unreadable.emplace_back(damaged(member, text));
    const auto shut = {damaged("salt", ""), damaged("salt", "AAECAwQFBgcICQoLDA0ODw=="),
                       damaged("sealed", ""), damaged("sealed", "AAAA"),
                       damaged("sealed", "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=")};
    for (const auto& record : shut) {
        store.keychain.item = record;
        store.defaults.values = preferences;
        story.play({{"try 1234", "2 left; failures 1"}, {"start", ""}});
    }
    store.set("1234", "ann", "not UTF-8: \xff");
    story.play({{"try 1234", "2 left; failures 1"}});
    for (const auto& record : unreadable) {
        store.defaults.values = preferences;
        store.keychain.item = record;
        EXPECT_EQ(store.unlock("1234"), "The saved passcode could not be read. Sign in with your password.")
            << record.value_or("none");
        EXPECT_FALSE(store.keychain.item);
        EXPECT_EQ(Json(store.defaults.values).dump(),
                  R"({"brisko.lock.auto":true,"brisko.passcode.failures":0})");
    }
}

TEST_F(PasscodeTest, changesNothingWhereKeyringOrDiskRefuseAndTriesNothingThatItCannotCount) {
    story.play(
        {{"set, try 0000", R"(done, 2 left; record 4 ann; digits 4; username "ann"; failures 1; auto true)"},
         {"keyring full, other", "The keychain would not store it: Full."},
         {"keyring gone, try 1234, try 0000",
          "The keyring could not be opened: Locked., The keyring could not be opened: Locked."},
         {"other", "The keyring could not be opened: Locked.; changing true"},
         {"start", ""},
         {"keyring back, try 0000", "1 left; failures 2; no changing"},
         // What goes while the keyring is gone goes from it at the next start.
         {"keyring gone, clear, start", "no digits; no username; failures 0"},
         {"keyring back, start", "no record"},
         {"set", R"(done; record 4 ann; digits 4; username "ann")"},
         {"disk full, other", "No space left on device"},
         {"try 1234",
          "The passcode was not tried, because the try could not be counted: No space left on device"},
         // The password goes, though the shape cannot.
         {"clear", "no record"},
         {"disk back, try 1234",
          "The saved passcode could not be read. Sign in with your password.; no digits; no username"}});
    store.keychain.refusal = Keychain::Refused("", -25293);
    EXPECT_EQ(store.set("1234"), "The keychain would not store it: error -25293");
    store.setPreference("passcode.lockedUntil", 1);
    store.defaults.broken = true;
    EXPECT_FALSE(store.passcode.lockedUntil()) << "over, though it cannot be removed";
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
}
