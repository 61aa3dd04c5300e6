#include "platform/linux/LocaleInteger.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

TEST(LocaleInteger, isReadInTheDigitsOfAnyScriptAndIsNoOtherText) {
    using std::pair;
    for (const auto& [text, number] :
         {pair(" 240\t", 240L), pair("+7", 7L), pair("−7", -7L), pair("0012", 12L), pair("٤٢", 42L),
          pair("9223372036854775808", INT64_MAX), pair("-9223372036854775808", INT64_MIN),
          pair("99999999999999999999999999", INT64_MAX), pair("-99999999999999999999999999", INT64_MIN)})
        EXPECT_EQ(LocaleInteger::parse(text), number) << text;
    for (const auto* text : {"", " ", "-", "--5", "5 minutes", "5.5", "1e3", "0x10", "½", "\xff"})
        EXPECT_EQ(LocaleInteger::parse(text), std::nullopt) << text;
    for (const auto number : {0L, 5L, -3L, 1234567L, INT64_MAX, INT64_MIN})
        EXPECT_EQ(LocaleInteger::parse(LocaleInteger::format(number)), number);
}
