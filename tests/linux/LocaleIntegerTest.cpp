#include "platform/linux/LocaleInteger.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

TEST(LocaleInteger, isReadInTheDigitsOfAnyScriptAndIsNoOtherText) {
    using Case = std::pair<std::string, std::optional<std::int64_t>>;
    for (const auto& [text, number] : {Case{"5", 5},
                                       {" 240\t", 240},
                                       {"+7", 7},
                                       {"-7", -7},
                                       {"−7", -7},
                                       {"0012", 12},
                                       {"٤٢", 42},
                                       {"४२", 42},
                                       {"9223372036854775807", INT64_MAX},
                                       {"9223372036854775808", INT64_MAX},
                                       {"-9223372036854775808", INT64_MIN},
                                       {"99999999999999999999999999", INT64_MAX},
                                       {"-99999999999999999999999999", INT64_MIN},
                                       {"", std::nullopt},
                                       {" ", std::nullopt},
                                       {"-", std::nullopt},
                                       {"--5", std::nullopt},
                                       {"5 minutes", std::nullopt},
                                       {"5.5", std::nullopt},
                                       {"1e3", std::nullopt},
                                       {"0x10", std::nullopt},
                                       {"½", std::nullopt},
                                       {"\xff", std::nullopt}})
        EXPECT_EQ(LocaleInteger::parse(text), number) << text;
}

TEST(LocaleInteger, isReadAsItWasWritten) {
    for (const auto number : {0L, 5L, -3L, 240L, 1234567L, INT64_MAX, INT64_MIN})
        EXPECT_EQ(LocaleInteger::parse(LocaleInteger::format(number)), number);
}
