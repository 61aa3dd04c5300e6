#include "platform/linux/LocaleInteger.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

TEST(LocaleInteger, isReadInTheDigitsOfAnyScriptAndIsNoOtherText) {
    for (const auto& [text, number] : {std::pair(" 240\t", 240L),
                                       {"+7", 7},
                                       {"−7", -7},
                                       {"0012", 12},
                                       {"٤٢", 42},
                                       {"9223372036854775808", INT64_MAX},
                                       {"-9223372036854775808", INT64_MIN},
                                       {"99999999999999999999999999", INT64_MAX},
                                       {"-99999999999999999999999999", INT64_MIN}})
        EXPECT_EQ(LocaleInteger::parse(text), number) << text;
    for (const auto* text : {"", " ", "-", "--5", "5 minutes", "5.5", "1e3", "0x10", "½", "\xff"})
        EXPECT_EQ(LocaleInteger::parse(text), std::nullopt) << text;
    for (const auto number : {0L, 5L, -3L, 1234567L, INT64_MAX, INT64_MIN})
        EXPECT_EQ(LocaleInteger::parse(LocaleInteger::format(number)), number);
}
