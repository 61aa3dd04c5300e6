#include "platform/linux/DurableFile.h"

#include "linux/FullDisk.h"
#include "platform/Error.h"
#include "platform/linux/TemporaryFolder.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <vector>

namespace {

namespace fs = std::filesystem;

unsigned modeOf(const fs::path& path) {
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

class DurableFileTest : public testing::Test {
protected:
    TemporaryFolder folder{"brisko-files"};
    const fs::path file = folder.path() / "settings.json";

    std::vector<std::string> entries() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder.path()))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
};

} // namespace

TEST_F(DurableFileTest, givesBackEveryByteAndIsReadableByNobodyElse) {
    EXPECT_EQ(DurableFile::read(file), std::nullopt);
    const std::string bytes("a\0b\xff\n", 5);
    for (const auto& content : {bytes, std::string(300'000, 'x'), std::string()}) {
        DurableFile::write(file, content);
        EXPECT_EQ(DurableFile::read(file), content);
        EXPECT_EQ(modeOf(file), 0600U);
    }
    EXPECT_EQ(entries(), std::vector<std::string>{"settings.json"});
    DurableFile::remove(file);
    EXPECT_NO_THROW(DurableFile::remove(file));
    EXPECT_TRUE(entries().empty());
}

TEST_F(DurableFileTest, makesAPrivateFileOutOfAPublicOne) {
    std::ofstream(file) << "old";
    fs::permissions(file, fs::perms(0644));
    DurableFile::write(file, "secret");
    EXPECT_EQ(modeOf(file), 0600U);
}

TEST_F(DurableFileTest, leavesTheOldContentAndNothingElseWhenTheDiskIsFull) {
    DurableFile::write(file, "old");
    {
        const FullDisk full;
        EXPECT_THROW(DurableFile::write(file, "new"), Error);
    }
    EXPECT_EQ(DurableFile::read(file), "old");
    EXPECT_EQ(entries(), std::vector<std::string>{"settings.json"});
    DurableFile::write(file, "new");
    EXPECT_EQ(DurableFile::read(file), "new");
}

TEST_F(DurableFileTest, appendsAWholeTextOrNothing) {
    DurableFile::append(file, "one\n");
    EXPECT_EQ(modeOf(file), 0600U);
    {
        // There is room for a part of it.
        rlimit before = {};
        getrlimit(RLIMIT_FSIZE, &before);
        const FullDisk full;
        const rlimit little = {6, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &little);
        EXPECT_THROW(DurableFile::append(file, "second\n"), Error);
    }
    EXPECT_EQ(DurableFile::read(file), "one\n");
    DurableFile::append(file, "two\n");
    EXPECT_EQ(DurableFile::read(file), "one\ntwo\n");
}

TEST_F(DurableFileTest, saysWhyInTheSystemsWordsAndLeavesWhatIsInTheWay) {
    fs::create_directory(file);
    std::ofstream(file / "inside") << "kept";
    EXPECT_THROW(DurableFile::read(file), Error);
    EXPECT_THROW(DurableFile::write(file, "new"), Error);
    EXPECT_THROW(DurableFile::remove(file), Error);
    EXPECT_TRUE(fs::exists(file / "inside"));
    EXPECT_EQ(entries(), std::vector<std::string>{"settings.json"});
    try {
        DurableFile::write(folder.path() / "missing" / "file", "new");
        FAIL() << "written into a folder that is not there";
    } catch (const Error& failure) {
        EXPECT_STREQ(failure.what(), g_strerror(ENOENT));
        EXPECT_EQ(failure.code(), ENOENT);
    }
}

TEST_F(DurableFileTest, doesNotHangOnANamedPipe) {
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_THROW(DurableFile::read(file), Error);
}

TEST_F(DurableFileTest, makesPrivateFoldersAndClosesAnOpenOne) {
    const auto inner = folder.path() / "a" / "b" / "c";
    DurableFile::makePrivateFolder(inner / "");
    for (const auto& made : {inner, inner.parent_path(), inner.parent_path().parent_path()})
        EXPECT_EQ(modeOf(made), 0700U) << made;
    fs::permissions(inner, fs::perms(0755));
    fs::permissions(inner.parent_path(), fs::perms(0750));
    DurableFile::makePrivateFolder(inner);
    EXPECT_EQ(modeOf(inner), 0700U);
    EXPECT_EQ(modeOf(inner.parent_path()), 0750U);
    std::ofstream(file) << "in the way";
    EXPECT_THROW(DurableFile::makePrivateFolder(file), Error);
    EXPECT_THROW(DurableFile::makePrivateFolder(file / "below"), Error);
}

TEST_F(DurableFileTest, setsEveryUnusableFileAsideUnderANameOfItsOwn) {
    for (const auto* content : {"first", "second"}) {
        DurableFile::write(file, content);
        DurableFile::setAside(file);
    }
    EXPECT_EQ(DurableFile::read(file), std::nullopt);
    EXPECT_EQ(DurableFile::read(folder.path() / "settings.json.broken-1"), "first");
    EXPECT_EQ(DurableFile::read(folder.path() / "settings.json.broken-2"), "second");
    EXPECT_THROW(DurableFile::setAside(file), Error);
}
