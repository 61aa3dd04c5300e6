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

TEST_F(JsonUserDefaultsTest, makesItsFolderWithTheFirstValueAndKeepsWhatSomebodyElseWritesMeanwhile) {
    EXPECT_EQ(defaults.value("a"), Json());
    defaults.remove("a");
    EXPECT_FALSE(fs::exists(file.parent_path()));
    EXPECT_TRUE(defaults.available()) << "nothing is stored yet, which is known";
    defaults.set("a", 1);
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms(0700));
    EXPECT_EQ(JsonUserDefaults(file).value("a"), 1);
    {
        const FullDisk full;
        EXPECT_NO_THROW(defaults.set("a", 1)) << "nothing changes, and nothing is written";
        EXPECT_NO_THROW(defaults.update({{"a", 1}, {"missing", Json()}}));
    }
    store(R"({"a": 2, "other": [true]})");
    EXPECT_EQ(defaults.value("a"), 2);
    defaults.set("b", 3);
    EXPECT_EQ(parseJson(*DurableFile::read(file)), parseJson(R"({"a":2,"b":3,"other":[true]})"));
    EXPECT_EQ(defaults.value("b"), 3);
    store(R"({"b": 4})");
    EXPECT_EQ(defaults.value("b"), 4);
    fs::remove(file);
    EXPECT_EQ(defaults.value("b"), Json());
}

TEST_F(JsonUserDefaultsTest, keepsABrokenFileBesideTheNewOneAndNeverOverwritesWhatItCannotRead) {
    for (const auto* broken : {"", "{\"a\": 1", "[1]", "{} {}", "\xff\xfe"}) {
        store(broken);
        EXPECT_EQ(defaults.value("a"), Json()) << broken;
        EXPECT_FALSE(defaults.available()) << broken;
        EXPECT_NO_THROW(defaults.update({{"a", Json()}})) << broken;
        EXPECT_THROW(defaults.set("name", "\xff"), Error) << "no text that JSON can hold";
        EXPECT_EQ(DurableFile::read(file), broken);
        defaults.set("b", true);
        EXPECT_EQ(defaults.value("b"), true) << broken;
        EXPECT_EQ(DurableFile::read(file.string() + ".broken-1"), broken);
        fs::remove_all(file.parent_path());
    }
    fs::create_directories(file / "inside");
    EXPECT_EQ(defaults.value("a"), Json());
    EXPECT_THROW(defaults.set("a", 1), Error);
    EXPECT_THROW(defaults.remove("a"), Error);
    EXPECT_TRUE(fs::exists(file / "inside"));
}
