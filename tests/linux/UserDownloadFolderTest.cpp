#include "platform/linux/UserDownloadFolder.h"

#include "linux/MainLoop.h"
#include "platform/Error.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

class UserDownloadFolderTest : public testing::Test {
protected:
    TemporaryFolder home{"brisko-home"};
    const fs::path folder = home.path() / "a" / "Downloads";
    UserDownloadFolder downloads{folder, [](const auto&) {}};

    fs::path write(const std::string& name, const std::string& content) {
        DurableFile::write(*downloads.path() / name, content);
        return folder / name;
    }
};

} // namespace

TEST_F(UserDownloadFolderTest, isNeverTheHomeFolderItselfIsMadeWhenItIsMissingAndSaysWhyItCannotBe) {
    const auto& path = home.path();
    fs::create_directory_symlink(path, path / "link");
    for (const auto& none : {fs::path("relative"), path, path / "", path / "link"})
        EXPECT_EQ(UserDownloadFolder::choose(none, path), path / "Downloads") << none;
    EXPECT_EQ(UserDownloadFolder::choose(std::nullopt, path), path / "Downloads");
    for (const auto& configured : {fs::path("/mnt/files"), path / "Dateien"})
        EXPECT_EQ(UserDownloadFolder::choose(configured, path), configured);
    for (const auto* none : {"/nonexistent", "/"})
        EXPECT_EQ(UserDownloadFolder::choose(none, none), std::nullopt);
    EXPECT_EQ(UserDownloadFolder(std::nullopt, [](const auto&) {}).path(), std::nullopt);
    EXPECT_EQ(downloads.path(), folder);
    EXPECT_TRUE(fs::is_directory(folder));
    fs::remove(folder);
    DurableFile::write(folder, "a file in its place");
    for (const auto& [taken, reason] : {std::pair(folder, "Not a directory"),
                                        std::pair(fs::path("/proc/brisko"), "No such file or directory")})
        try {
            UserDownloadFolder(taken, [](const auto&) {}).path();
            ADD_FAILURE() << taken;
        } catch (const Error& error) {
            EXPECT_EQ(error.what(), "The folder " + taken.string() + " cannot be used: " + reason);
        }
}

TEST_F(UserDownloadFolderTest, placesAFileWholeAndNeverInThePlaceOfAnother) {
    const auto partial = write(".report.part", "new");
    const auto taken = write("report", "old");
    fs::create_directory(folder / "folder");
    fs::create_symlink("nowhere", folder / "broken");
    for (const auto& there : {taken, folder / "folder", folder / "broken"}) {
        EXPECT_TRUE(downloads.exists(there));
        EXPECT_FALSE(downloads.place(partial, there)) << there;
    }
    EXPECT_EQ(DurableFile::read(taken), "old");
    EXPECT_FALSE(downloads.exists(folder / "report 2"));
    EXPECT_TRUE(downloads.place(partial, folder / "report 2"));
    EXPECT_EQ(DurableFile::read(folder / "report 2"), "new");
    EXPECT_FALSE(downloads.exists(partial));
    EXPECT_THROW(downloads.place(partial, folder / "gone"), Error);

    const auto other = write(".other.part", "x");
    MainLoop::finish(downloads.settle(other));
    EXPECT_THROW(MainLoop::finish(downloads.settle(folder / "gone")), Error);
    EXPECT_THROW(downloads.place(other, home.path() / "no" / "folder"), Error);
    EXPECT_EQ(DurableFile::read(other), "x");
    downloads.discard(other);
    EXPECT_FALSE(downloads.exists(other));
}
