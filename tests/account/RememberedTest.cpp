#include "account/Remembered.h"

#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

TEST(Remembered, keepsANameWithoutTheWhiteSpaceAroundItAndForgetsAnEmptyOne) {
    for (const auto& [written, stored] :
         {std::pair("ann", R"("ann")"), std::pair(" \t\r\n ann lee \v\f\n", R"("ann lee")"),
          std::pair("\xC2\xA0\xE3\x80\x80\xE2\x80\xA8\xF0\x9F\x99\x82\xE2\x80\x83", "\"\xF0\x9F\x99\x82\""),
          std::pair("\xC3\xA9", "\"\xC3\xA9\""), std::pair("", "null"),
          std::pair(" \n\xE2\x80\xA9", "null")}) {
        FakeUserDefaults defaults;
        defaults.values["brisko.lastUsername"] = "old";
        Remembered(defaults).setUsername(written);
        EXPECT_EQ(defaults.value("brisko.lastUsername").dump(), stored);
        EXPECT_EQ(defaults.values.size(), std::string_view(stored) == "null" ? 0U : 1U);
    }
}

TEST(Remembered, readsNothingWhereNoTextIsStored) {
    FakeUserDefaults defaults;
    EXPECT_EQ(Remembered(defaults).username(), "");
    for (const auto& damaged : {Json(5), Json::array({"ann"}), Json()}) {
        defaults.values["brisko.lastUsername"] = damaged;
        EXPECT_EQ(Remembered(defaults).username(), "");
    }
}

TEST(Remembered, keepsThePreviousNameWhereNothingCanBeWritten) {
    FakeUserDefaults defaults;
    Remembered remembered(defaults);
    remembered.setUsername("ann");
    defaults.broken = true;
    remembered.setUsername("bob");
    remembered.setUsername("");
    EXPECT_EQ(remembered.username(), "ann");
}
