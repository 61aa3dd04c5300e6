#include "lock/Passcode.h"

#include "lock/PasscodeStore.h"

#include <set>

struct PasscodeTest : testing::Test {
    PasscodeStore store;
    Scenario& story = store.story;
};

TEST_F(PasscodeTest, sealsThePasswordWithAnotherSaltAndNonceEachTime) {
    std::set<std::string> saltsAndNonces;
    for (auto times = 0; times < 2; ++times) {
        store.set("2468", "zoë", "pässwörd");
        EXPECT_EQ(store.keychain.item->find("pässwörd"), std::string::npos);
        const auto record = store.record();
        saltsAndNonces.insert({record["salt"], record["sealed"].get<std::string>().substr(0, 16)});
    }
    EXPECT_EQ(saltsAndNonces.size(), 4U);
}

TEST_F(PasscodeTest, countsCharactersAndNotBytes) {
    for (const auto& [code, digits] :
         {std::pair("", 0), {"\r\n7", 2}, {"٤٥٦٧", 4}, {"1\u20e32\u20e3", 2}, {"👨‍👩‍👧9", 2}}) {
        store.set(code);
        EXPECT_EQ(store.preference("passcode.digits"), digits) << code;
    }
}

TEST_F(PasscodeTest, takesPreferencesOfAnotherTypeForNone) {
    auto& values = store.defaults.values;
    const std::tuple<Json, Json, const char*> cases[] = {
        {1, "", "1 "},        {0, "ann", "none"},          {-4, "ann", "none"}, {"4", "ann", "none"},
        {4.0, "ann", "none"}, {1ULL << 63, "ann", "none"}, {4, 7, "none"}};
    for (const auto& [digits, username, shape] : cases) {
        values["brisko.passcode.digits"] = digits;
        values["brisko.passcode.username"] = username;
        EXPECT_EQ(store.shape(), shape) << digits << " " << username;
    }
    for (const auto& until : {Json("9e9"), Json(true), Json(-5.0), Json(1e300)}) {
        values["brisko.passcode.lockedUntil"] = until;
        EXPECT_EQ(store.passcode.lockedUntil().has_value(), until == 1e300);
    }
    EXPECT_LE(store.passcode.lockedUntil(), store.clock.time + Passcode::lockOut) << "the clock was wrong";
    EXPECT_LT(values["brisko.passcode.lockedUntil"], 1e300);
}

TEST_F(PasscodeTest, locksForFiveMinutesAfterThreeWrongTriesInARow) {
    // The first start of all writes nothing; the first passcode of all turns the idle lock on.
    story.play({{"start", ""},
                {"set", R"(done; record 4 "ann"; digits 4; username "ann"; failures 0; auto true)"},
                {"try 0000, try 0000", "2 left, 1 left; failures 2"},
                {"try 1234", "ann: secret; failures 0"},
                {"try 0000, try 00001234", "2 left, 1 left; failures 2"},
                {"try 0001", "Too many wrong tries.; failures 0; lockedUntil 1800000300.0"},
                // Neither is a try during a lock-out counted, nor the keyring asked.
                {"keyring gone, pass 299999, try 1234, keyring back", "Too many wrong tries."},
                {"pass 1, try 0000, try 0000", "2 left, 1 left; failures 2; no lockedUntil"},
                // A new passcode ends it, and none does.
                {"try 0000, other", R"(Too many wrong tries., done; record 6 "bob"; digits 6; )"
                                    R"(username "bob"; failures 0)"},
                {"try 0, try 0, try 0, clear", "2 left, 1 left, Too many wrong tries.; no record; no digits; "
                                               "no username"}});
}

TEST(Passcode, isNotLockedAfterTheRightTryAlsoWhereThatCannotBeStored) {
    FakeUserDefaults* disk = nullptr; // that fills during a right try
    PasscodeStore store([&](const auto& code, const auto& salt) {
        if (disk)
            disk->broken = code.view() == "1234";
        return deriveInOneRound(code, salt);
    });
    store.set("1234");
    disk = &store.defaults;
    EXPECT_EQ(store.unlock("0") + ", " + store.unlock("0") + ", " + store.unlock("1234"),
              "2 left, 1 left, ann: secret");
    EXPECT_FALSE(store.passcode.lockedUntil());
}

TEST_F(PasscodeTest, tellsARecordThatIsUnreadableAndGoesFromASealThatDoesNotOpen) {
    store.set("1234");
    const auto preferences = store.defaults.values;
    const auto whole = store.record();
    const auto damaged = [&whole](const char* member, const Json& value) {
        auto record = whole;
        record[member] = value;
        return record.dump();
    };
    std::vector<std::optional<std::string>> unreadable = {
        {}, "[]", whole.dump() + "x", damaged("digits", 1ULL << 63), damaged("sealed", "AAE*")};
    for (const auto* member : {"digits", "username", "salt", "sealed"})
        unreadable.emplace_back(damaged(member, nullptr));
    for (const auto& record : {damaged("salt", ""), damaged("sealed", "AAAA")}) {
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
        EXPECT_TRUE(!store.keychain.item && store.shape() == "none");
    }
}

TEST_F(PasscodeTest, changesNothingWhereKeyringOrDiskRefuseAndTriesNothingThatItCannotCount) {
    story.play({{"set, try 0000",
                 R"(done, 2 left; record 4 "ann"; digits 4; username "ann"; failures 1; auto true)"},
                {"keyring full, other", "The keychain would not store it: Full."},
                {"keyring gone, try 1234", "The keyring could not be opened: Locked."},
                {"other", "The keyring could not be opened: Locked.; changing true"},
                {"start", ""},
                // A keyring that refuses now says nothing of what it stored then.
                {"keyring full, other", "The keychain would not store it: Full."},
                {"keyring back, try 0000", "1 left; failures 2; no changing"},
                // What goes while the keyring is gone goes from it at the next start.
                {"keyring gone, clear, start", "no digits; no username; failures 0"},
                {"keyring back, start", "no record"},
                {"set", R"(done; record 4 "ann"; digits 4; username "ann")"},
                {"disk full, other", "No space left on device"},
                {"try 1234",
                 "The passcode was not tried, because the try could not be counted: No space left on device"},
                // The password goes, though the shape cannot.
                {"clear", "no record"}});
    store.defaults.values["brisko.passcode.lockedUntil"] = 1;
    EXPECT_FALSE(store.passcode.lockedUntil()) << "over, though it cannot be removed";
}
