#include "account/Remembered.h"

#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

TEST(Remembered, keepsANameWithoutTheWhiteSpaceAroundItAndForgetsAnEmptyOne) {
    for (const auto& [written, stored] : {std::pair("ann", R"("ann")"),
                                          {" \t\r\n ann lee \v\f\n", R"("ann lee")"},
                                          {"é", "\"é\""},
                                          {"\u00a0\u3000\u2028🙂\u2003", "\"🙂\""},
                                          {"", "null"},
                                          {" \n\u2029", "null"}}) {
        FakeUserDefaults defaults;
        defaults.values["brisko.lastUsername"] = "old";
        Remembered(defaults).setUsername(written);
        EXPECT_EQ(defaults.value("brisko.lastUsername").dump(), stored);
        EXPECT_EQ(defaults.values.empty(), std::string_view(stored) == "null");
    }
}

TEST(Remembered, readsNothingWhereNoTextIsStoredAndKeepsTheNameWhereNothingCanBeWritten) {
    FakeUserDefaults defaults;
    Remembered remembered(defaults);
    for (const auto& damaged : {Json(5), Json::array({"ann"}), Json()}) {
        defaults.values["brisko.lastUsername"] = damaged;
        EXPECT_EQ(remembered.username(), "");
    }
    remembered.setUsername("ann");
    defaults.broken = true;
    remembered.setUsername("bob");
    remembered.setUsername("");
    EXPECT_EQ(remembered.username(), "ann");
}
