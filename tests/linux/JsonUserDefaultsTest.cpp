#include "platform/linux/JsonUserDefaults.h"

#include "linux/FullDisk.h"
#include "platform/Error.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

class JsonUserDefaultsTest : public testing::Test {
protected:
    TemporaryFolder folder{"brisko-defaults"};
    const fs::path file = folder.path() / "config" / "preferences.json";
    JsonUserDefaults defaults{file};

    void store(std::string_view content) {
        DurableFile::makePrivateFolder(file.parent_path());
        DurableFile::write(file, content);
    }
};

} // namespace

TEST_F(JsonUserDefaultsTest, makesItsFolderWithTheFirstValueAndNotBefore) {
    EXPECT_EQ(defaults.value("brisko.theme"), Json());
    defaults.remove("brisko.theme");
    EXPECT_FALSE(fs::exists(file.parent_path()));
    EXPECT_TRUE(defaults.available()) << "nothing is stored yet, which is known";
    defaults.set("brisko.theme", "dark");
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms(0700));
    EXPECT_EQ(JsonUserDefaults(file).value("brisko.theme"), "dark");
    const FullDisk full;
    EXPECT_NO_THROW(defaults.set("brisko.theme", "dark")) << "nothing changes, and nothing is written";
    EXPECT_NO_THROW(defaults.update({{"brisko.theme", "dark"}, {"brisko.missing", Json()}}));
}

TEST_F(JsonUserDefaultsTest, seesAndKeepsWhatSomebodyElseHasWrittenMeanwhile) {
    defaults.set("brisko.a", 1);
    store(R"({"brisko.a": 2, "other": [true]})");
    EXPECT_EQ(defaults.value("brisko.a"), 2);
    defaults.set("brisko.b", 3);
    EXPECT_EQ(parseJson(*DurableFile::read(file)),
              parseJson(R"({"brisko.a":2,"brisko.b":3,"other":[true]})"));
    EXPECT_EQ(defaults.value("brisko.b"), 3);
    store(R"({"brisko.b": 4})");
    EXPECT_EQ(defaults.value("brisko.b"), 4);
    fs::remove(file);
    EXPECT_EQ(defaults.value("brisko.b"), Json());
}

TEST_F(JsonUserDefaultsTest, keepsABrokenFileBesideTheNewOne) {
    for (const auto* broken : {"", "{\"brisko.a\": 1", "[1]", "{} {}", "\xff\xfe"}) {
        store(broken);
        EXPECT_EQ(defaults.value("brisko.a"), Json()) << broken;
        EXPECT_FALSE(defaults.available()) << broken;
        EXPECT_NO_THROW(defaults.update({{"brisko.a", Json()}})) << broken;
        EXPECT_THROW(defaults.set("brisko.name", "\xff"), Error) << "no text that JSON can hold";
        EXPECT_EQ(DurableFile::read(file), broken);
        defaults.set("brisko.b", true);
        EXPECT_EQ(defaults.value("brisko.b"), true) << broken;
        EXPECT_EQ(DurableFile::read(file.string() + ".broken-1"), broken);
        fs::remove_all(file.parent_path());
    }
}

TEST_F(JsonUserDefaultsTest, neverOverwritesWhatItCannotRead) {
    fs::create_directories(file / "inside");
    EXPECT_EQ(defaults.value("brisko.a"), Json());
    EXPECT_THROW(defaults.set("brisko.a", 1), Error);
    EXPECT_THROW(defaults.remove("brisko.a"), Error);
    EXPECT_TRUE(fs::exists(file / "inside"));
}
