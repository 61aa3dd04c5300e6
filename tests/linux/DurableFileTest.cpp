#include "platform/linux/DurableFile.h"

#include "linux/FullDisk.h"
#include "platform/Error.h"
#include "platform/linux/TemporaryFolder.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <set>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

class DurableFileTest : public testing::Test {
protected:
    TemporaryFolder folder{"brisko-files"};
    const fs::path file = folder.path() / "settings.json";

    std::set<std::string> entries() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder.path()))
            names.insert(entry.path().filename());
        return names;
    }
    static fs::perms modeOf(const fs::path& path) { return fs::status(path).permissions(); }
};

using Names = std::set<std::string>;

} // namespace

TEST_F(DurableFileTest, givesBackEveryByteToNobodyElseAndKeepsTheOldContentOnAFullDisk) {
    EXPECT_EQ(DurableFile::read(file), std::nullopt);
    std::ofstream(file) << "public";
    fs::permissions(file, fs::perms(0644));
    for (const auto& content : {std::string("a\0b\xff\n", 5), std::string(300'000, 'x'), std::string()}) {
        DurableFile::write(file, content);
        EXPECT_EQ(DurableFile::read(file), content);
        EXPECT_EQ(modeOf(file), fs::perms(0600));
    }
    DurableFile::remove(file);
    EXPECT_NO_THROW(DurableFile::remove(file));
    DurableFile::append(file, "one\n");
    EXPECT_EQ(modeOf(file), fs::perms(0600));
    {
        const FullDisk full(6);
        EXPECT_THROW(DurableFile::append(file, "second\n"), Error) << "there is room for a part of it";
        EXPECT_THROW(DurableFile::write(file, "another"), Error);
    }
    EXPECT_EQ(DurableFile::read(file), "one\n");
    DurableFile::append(file, "two\n");
    EXPECT_EQ(DurableFile::read(file), "one\ntwo\n");
    EXPECT_EQ(entries(), Names{"settings.json"});
    for (const auto* content : {"first", "second"}) {
        DurableFile::write(file, content);
        DurableFile::setAside(file);
    }
    EXPECT_EQ(DurableFile::read(file.string() + ".broken-1"), "first");
    EXPECT_EQ(DurableFile::read(file.string() + ".broken-2"), "second");
    EXPECT_EQ(entries().size(), 2U);
    EXPECT_THROW(DurableFile::setAside(file), Error);
}

TEST_F(DurableFileTest, saysWhyInTheSystemsWordsAndLeavesWhatIsInTheWay) {
    fs::create_directories(file / "inside");
    EXPECT_THROW(DurableFile::read(file), Error);
    EXPECT_THROW(DurableFile::write(file, "new"), Error);
    EXPECT_THROW(DurableFile::remove(file), Error);
    EXPECT_TRUE(fs::exists(file / "inside"));
    EXPECT_EQ(entries(), Names{"settings.json"});
    try {
        DurableFile::write(folder.path() / "missing" / "file", "new");
        FAIL() << "written into a folder that is not there";
    } catch (const Error& failure) {
        EXPECT_EQ(std::pair(failure.what() + ""s, failure.code()),
                  std::pair(g_strerror(ENOENT) + ""s, ENOENT));
    }
    const auto pipe = folder.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_THROW(DurableFile::read(pipe), Error) << "nobody writes to it, and reading does not wait";
}

TEST_F(DurableFileTest, makesPrivateFoldersAndClosesAnOpenOne) {
    const auto inner = folder.path() / "a" / "b";
    const auto modes = [&] { return std::pair(modeOf(inner), modeOf(inner.parent_path())); };
    DurableFile::makePrivateFolder(inner / "");
    EXPECT_EQ(modes(), std::pair(fs::perms(0700), fs::perms(0700)));
    fs::permissions(inner, fs::perms(0755));
    fs::permissions(inner.parent_path(), fs::perms(0750)); // whose it is, nobody has said
    DurableFile::makePrivateFolder(inner);
    EXPECT_EQ(modes(), std::pair(fs::perms(0700), fs::perms(0750)));
    std::ofstream(file) << "in the way";
    EXPECT_THROW(DurableFile::makePrivateFolder(file), Error);
    EXPECT_THROW(DurableFile::makePrivateFolder(file / "below"), Error);
}
