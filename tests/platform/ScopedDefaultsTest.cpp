#include "platform/ScopedDefaults.h"

#include "fakes/FakePlatform.h"
#include "lock/PasscodeOwner.h"

#include <gtest/gtest.h>

TEST(ScopedDefaults, keepAPasscodeToItsServiceAndTheFirstOnesWhereItHasAlwaysBeen) {
    FakeUserDefaults all;
    const auto scopeOf = [&](const std::string& service, bool isOnly) {
        return PasscodeOwner::scopeOf(all, service, "built-in", isOnly);
    };
    EXPECT_EQ(scopeOf("https://x", true) + scopeOf("https://x", false), "");
    EXPECT_EQ(scopeOf("built-in", false), "built-in") << "the profile was another's first";
    all.values.clear();
    EXPECT_EQ(scopeOf("https://y", false) + scopeOf("built-in", false), "https://y");
    all.values = {{"brisko.passcode.digits", 4}, {"brisko.lock.auto", true}};
    ScopedDefaults first(all, PasscodeOwner::keys, ""), other(all, PasscodeOwner::keys, "https://y");
    EXPECT_EQ(other.value("brisko.passcode.digits"), Json());
    other.update(
        {{"brisko.passcode.digits", 8}, {"brisko.passcode.username", "ann"}, {"brisko.lock.auto", false}});
    EXPECT_EQ(other.value("brisko.passcode.digits").dump() + first.value("brisko.passcode.digits").dump(),
              "84");
    EXPECT_EQ(first.value("brisko.lock.auto"), Json(false)) << "which is the profile's";
    first.remove("brisko.passcode.digits");
    other.remove("brisko.passcode.username");
    EXPECT_EQ(other.value("brisko.passcode.digits"), Json(8));
    other.set("brisko.passcode.digits", nullptr);
    all.values.erase("brisko.service");
    EXPECT_EQ(all.values.size(), 1U) << "and nothing is left";
}
