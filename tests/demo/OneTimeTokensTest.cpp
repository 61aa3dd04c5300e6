#include "demo/OneTimeTokens.h"

#include "demo/Random.h"

#include <gtest/gtest.h>

#include <set>

using namespace Demo;
using namespace std::chrono_literals;

namespace {

TEST(OneTimeTokens, oldestGivesWayWhenThereAreTooMany) {
    OneTimeTokens tokens([] { return Clock::time_point(); }, 1min, 3);
    const std::string first = tokens.issue("a");
    const std::string second = tokens.issue("b");
    tokens.issue("c");
    const std::string last = tokens.issue("d");
    EXPECT_EQ(tokens.take(first), std::nullopt);
    EXPECT_EQ(tokens.take(second), "b");
    EXPECT_EQ(tokens.take(second), std::nullopt);
    EXPECT_EQ(tokens.take(last), "d");
}

TEST(Random, tokensAreLongNeedNoEscapingAndDiffer) {
    std::set<std::string> seen;
    for (int n = 0; n < 200; ++n) {
        const std::string token = Random::token();
        EXPECT_EQ(token.size(), 32u);
        EXPECT_EQ(token.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
                  std::string::npos)
            << token;
        EXPECT_TRUE(seen.insert(token).second);
    }
}

TEST(Random, everyNumberBelowTheLimitComesUp) {
    std::set<std::uint32_t> seen;
    for (int n = 0; n < 2000; ++n)
        seen.insert(Random::below(19));
    EXPECT_EQ(seen.size(), 19u);
    EXPECT_EQ(*seen.rbegin(), 18u);
    EXPECT_EQ(Random::below(1), 0u);
}

} // namespace
