#include "linux/FullDisk.h"
#include "linux/MainLoop.h"
#include "platform/Error.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/JsonUserDefaults.h"
#include "platform/linux/TemporaryFolder.h"
#include "platform/linux/UserDownloadFolder.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

namespace fs = std::filesystem;

/// What the program keeps on a disk, below a folder of the test's own.
class FilesTest : public testing::Test {
protected:
    TemporaryFolder home{"brisko-files"};
    const fs::path folder = home.path() / "above" / "folder";
    const fs::path file = folder / "file";

    static fs::perms modeOf(const fs::path& path) { return fs::status(path).permissions(); }
    void store(std::string_view content) const {
        DurableFile::makePrivateFolder(folder);
        DurableFile::write(file, content);
    }
};

} // namespace

TEST_F(FilesTest, areTheOldOrTheNewWholeAndForNobodyElse) {
    DurableFile::makePrivateFolder(folder / "");
    EXPECT_EQ(modeOf(folder.parent_path()), fs::perms(0700));
    for (const auto& open : {folder, folder.parent_path()})
        fs::permissions(open, fs::perms(0755));
    DurableFile::makePrivateFolder(folder);
    EXPECT_EQ(modeOf(folder), fs::perms(0700));
    EXPECT_EQ(modeOf(folder.parent_path()), fs::perms(0755)) << "whose it is, nobody has said";

    DurableFile::append(file, "one\n");
    EXPECT_EQ(modeOf(file), fs::perms(0600));
    {
        const FullDisk full(6);
        EXPECT_THROW(DurableFile::append(file, "second\n"), Error) << "there is room for a part of it";
        EXPECT_THROW(DurableFile::write(file, "another"), Error);
    }
    DurableFile::append(file, "two\n");
    EXPECT_EQ(DurableFile::read(file), "one\ntwo\n");
    fs::permissions(file, fs::perms(0644));
    for (const auto& content : {std::string("a\0b\xff\n", 5), std::string(300'000, 'x')}) {
        DurableFile::write(file, content);
        EXPECT_EQ(DurableFile::read(file), content);
        EXPECT_EQ(modeOf(file), fs::perms(0600));
        DurableFile::setAside(file);
    }
    EXPECT_EQ(DurableFile::read(file.string() + ".broken-2")->size(), 300'000U);
}

TEST_F(FilesTest, keepThePreferencesThatSomebodyElseWritesMeanwhileAndThoseThatCannotBeRead) {
    JsonUserDefaults defaults{file};
    EXPECT_TRUE(defaults.available()) << "nothing is stored yet, which is known";
    defaults.set("a", 1);
    EXPECT_EQ(modeOf(folder), fs::perms(0700));
    store(R"({"a": 2, "other": [true]})");
    EXPECT_EQ(defaults.value("a"), 2);
    defaults.set("b", 3);
    EXPECT_EQ(parseJson(*DurableFile::read(file)), parseJson(R"({"a":2,"b":3,"other":[true]})"));
    EXPECT_EQ(defaults.value("b"), 3);
    for (const auto* broken : {"", "{\"a\": 1", "[1]"}) {
        store(broken);
        EXPECT_EQ(defaults.value("b"), Json()) << broken;
        EXPECT_FALSE(defaults.available()) << broken;
        EXPECT_THROW(defaults.set("name", "\xff"), Error) << "no text that JSON can hold";
        EXPECT_EQ(DurableFile::read(file), broken);
        defaults.set("b", true);
        EXPECT_EQ(JsonUserDefaults(file).value("b"), true) << broken;
        EXPECT_EQ(DurableFile::read(file.string() + ".broken-1"), broken);
        fs::remove_all(folder);
        EXPECT_EQ(defaults.value("b"), Json());
    }
}

TEST_F(FilesTest, thatArriveGetAFolderThatIsNotTheHomeFolderAndNeverThePlaceOfAnother) {
    const auto& path = home.path();
    fs::create_directory_symlink(path, path / "link");
    for (const auto& none : {fs::path("relative"), path / "", path / "link"})
        EXPECT_EQ(UserDownloadFolder::choose(none, path), path / "Downloads") << none;
    EXPECT_EQ(UserDownloadFolder::choose(std::nullopt, path), path / "Downloads");
    EXPECT_EQ(UserDownloadFolder::choose(path / "Dateien", path), path / "Dateien");
    const auto ignored = [](const auto&) {};
    UserDownloadFolder downloads(folder, ignored);
    EXPECT_EQ(downloads.path(), folder);

    const auto partial = folder / ".report.part";
    DurableFile::write(partial, "new");
    DurableFile::write(file, "old");
    fs::create_symlink("nowhere", folder / "broken");
    for (const auto& there : {file, folder / "broken"}) {
        EXPECT_TRUE(downloads.exists(there));
        EXPECT_FALSE(downloads.place(partial, there)) << there;
    }
    EXPECT_EQ(DurableFile::read(file), "old");
    MainLoop::finish(downloads.settle(partial));
    EXPECT_TRUE(downloads.place(partial, folder / "report 2"));
    downloads.discard(folder / "report 2");
    EXPECT_FALSE(downloads.exists(partial) || downloads.exists(folder / "report 2"));
}
