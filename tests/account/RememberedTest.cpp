#include "account/Remembered.h"

#include "fakes/FakePlatform.h"

#include <gtest/gtest.h>

TEST(Remembered, keepsANameWithoutTheWhiteSpaceAroundItAndForgetsAnEmptyOne) {
    FakeUserDefaults defaults;
    Remembered remembered(defaults);
    const std::pair<const char*, const char*> cases[] = {{" \t\r\n ann lee \v\f\n", "ann lee"},
                                                         {"\u00a0\u3000\u2028🙂\u2003", "🙂"},
                                                         {"é", "é"},
                                                         {" \n\u2029", ""}};
    for (const auto& [written, kept] : cases) {
        remembered.setUsername(written);
        EXPECT_EQ(remembered.username(), kept);
    }
    EXPECT_TRUE(defaults.values.empty());
    remembered.setUsername("ann");
    defaults.broken = true;
    for (const auto* unkept : {"bob", ""})
        remembered.setUsername(unkept);
    EXPECT_EQ(remembered.username(), "ann") << "nothing can be written";
    for (const auto& damaged : {Json(5), Json::array({"ann"}), Json()}) {
        defaults.values["brisko.lastUsername"] = damaged;
        EXPECT_EQ(remembered.username(), "");
    }
}
