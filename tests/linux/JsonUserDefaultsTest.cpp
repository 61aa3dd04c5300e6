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
    fs::path aside() const { return file.string() + ".broken-1"; }
};

} // namespace

TEST_F(JsonUserDefaultsTest, makesItsFolderWithTheFirstValueAndNotBefore) {
    EXPECT_EQ(defaults.value("brisko.theme"), Json());
    defaults.remove("brisko.theme");
    EXPECT_FALSE(fs::exists(file.parent_path()));
    EXPECT_TRUE(defaults.available()) << "nothing is stored yet, which is known";
    defaults.set("brisko.theme", "dark");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms(0700));
    EXPECT_EQ(JsonUserDefaults(file).value("brisko.theme"), "dark");
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

TEST_F(JsonUserDefaultsTest, writesNothingWhenNothingChanges) {
    defaults.set("brisko.delay", 5);
    const FullDisk full;
    EXPECT_NO_THROW(defaults.set("brisko.delay", 5));
    EXPECT_NO_THROW(defaults.remove("brisko.missing"));
    EXPECT_NO_THROW(defaults.update({{"brisko.delay", 5}, {"brisko.missing", Json()}}));
    EXPECT_THROW(defaults.set("brisko.delay", 5.0), Error) << "a value of another type is a change";
}

TEST_F(JsonUserDefaultsTest, keepsABrokenFileBesideTheNewOne) {
    for (const auto* broken : {"", "{\"brisko.a\": 1", "[1]", "\"text\"", "{} {}", "\xff\xfe"}) {
        store(broken);
        EXPECT_EQ(defaults.value("brisko.a"), Json()) << broken;
        EXPECT_FALSE(defaults.available()) << broken;
        EXPECT_NO_THROW(defaults.remove("brisko.a")) << broken;
        EXPECT_NO_THROW(defaults.update({{"brisko.a", Json()}})) << broken;
        EXPECT_EQ(DurableFile::read(file), broken);
        defaults.set("brisko.b", true);
        EXPECT_EQ(defaults.value("brisko.b"), true) << broken;
        EXPECT_EQ(DurableFile::read(aside()), broken);
        fs::remove(aside());
    }
}

TEST_F(JsonUserDefaultsTest, neverOverwritesWhatItCannotRead) {
    fs::create_directories(file / "inside");
    EXPECT_EQ(defaults.value("brisko.a"), Json());
    EXPECT_THROW(defaults.set("brisko.a", 1), Error);
    EXPECT_THROW(defaults.remove("brisko.a"), Error);
    EXPECT_TRUE(fs::exists(file / "inside"));
}

TEST_F(JsonUserDefaultsTest, refusesTextThatJsonCannotHoldAndMovesNothing) {
    store("not JSON");
    EXPECT_THROW(defaults.set("brisko.name", "\xff"), Error);
    EXPECT_EQ(DurableFile::read(file), "not JSON");
}
