#include "web/DownloadName.h"

#include "ForAll.h"

#include <gtest/gtest.h>

#include <set>

namespace {

namespace fs = std::filesystem;

const fs::path folder = "/home/ada/Downloads";

/// The name that is chosen where there are files of those names.
std::string chosen(const std::string& suggested, const std::set<std::string>& there = {}) {
    const auto exists = [&there](const fs::path& file) { return there.contains(file.filename()); };
    const auto path = DownloadName::unused(suggested, folder, exists);
    EXPECT_EQ(path.parent_path(), folder) << suggested;
    return path.filename();
}

std::string repeated(const std::string& text, std::size_t times) {
    std::string result;
    for (std::size_t i = 0; i < times; ++i)
        result += text;
    return result;
}

} // namespace

TEST(DownloadName, isTheSuggestedOneMadeUsable) {
    const std::pair<std::string, std::string> cases[] = {{"../../x", "x"},
                                                         {"/etc/passwd", "passwd"},
                                                         {"folder/", "folder"},
                                                         {".bashrc", "bashrc"},
                                                         {"...hidden.txt", "hidden.txt"},
                                                         {". .x", "x"},
                                                         {"notes. ", "notes"},
                                                         {"a\nb\x7f.txt", "a b_.txt"},
                                                         {std::string("a\0b", 3), "a_b"},
                                                         {"a\u2028b\u0085c", "a b c"},
                                                         {"Z\xc3\xbcrich \xff\xc3.csv", "Zürich __.csv"},
                                                         {"\xed\xa0\x80", "___"},
                                                         {"photo\u202egpj.exe", "photogpj.exe"},
                                                         {"\u2067x\u2069.txt\ufeff", "x.txt"}};
    for (const auto& [suggested, name] : cases)
        EXPECT_EQ(chosen(suggested), name) << suggested;
    for (const auto* harmless :
         {"report.pdf", "weiß \U0001f469\u200d\U0001f680 你好.zip", R"(C:\Temp\a:b.txt)", "-rf *"})
        EXPECT_EQ(chosen(harmless), harmless);
    for (const auto* nameless : {"", "..", "a/..", "///", " \t . ", " \u3000. "})
        EXPECT_EQ(chosen(nameless), "download") << nameless;
}

TEST(DownloadName, countsUpFromTwoBeforeTheExtension) {
    const std::set<std::string> there = {"report.pdf", "report 2.pdf", "notes",          "download",
                                         "a.b",        "a.b 2",        "archive.tar.gz", "Mr. Smith"};
    const std::pair<const char*, const char*> cases[] = {{"report.pdf", "report 3.pdf"},
                                                         {"report 2.pdf", "report 2 2.pdf"},
                                                         {"x/notes", "notes 2"},
                                                         {"", "download 2"},
                                                         {"a.b", "a 2.b"},
                                                         {".notes", "notes 2"},
                                                         {"other.pdf", "other.pdf"},
                                                         {"archive.tar.gz", "archive.tar 2.gz"}};
    for (const auto& [suggested, name] : cases)
        EXPECT_EQ(chosen(suggested, there), name) << suggested;
}

TEST(DownloadName, fitsTheFileSystemWithItsNumberAndItsPartialAndKeepsItsExtension) {
    constexpr std::size_t nameMax = 255;
    const auto stem = repeated("ü", 300);
    for (const std::string& suggested :
         {stem + ".pdf", "x" + stem + ".pdf", stem, repeated("x", 300) + ". ." + repeated("y", 300),
          repeated("\U0001f680", 5000) + ".html", repeated(" ", 300) + "x" + repeated(".", 300)}) {
        const auto name = chosen(suggested);
        EXPECT_LE(name.size(), DownloadName::longest);
        EXPECT_EQ(DownloadName::usable(name), name) << "well-formed, and trimmed again";
        EXPECT_EQ(fs::path(name).extension(), suggested.ends_with(".pdf")    ? ".pdf"
                                              : suggested.ends_with(".html") ? ".html"
                                                                             : "");

        const auto crowded = [asked = 0](const fs::path&) mutable { return ++asked < 20'000; };
        const auto target = DownloadName::unused(suggested, folder, crowded);
        const auto partial = DownloadName::partial(target, crowded);
        EXPECT_EQ(partial.parent_path(), folder);
        EXPECT_TRUE(partial.filename().string().starts_with("."));
        EXPECT_LE(partial.filename().string().size(), nameMax);
    }
}

TEST(DownloadName, staysAsItIsOnceItIsUsable) {
    const auto anyName = [](auto& random) { return anyText(random, anyOf(random, 0, 300)); };
    forAll(2000, anyName, [](const std::string& suggested) {
        const auto name = DownloadName::usable(suggested);
        EXPECT_EQ(DownloadName::usable(name), name) << suggested;
        EXPECT_TRUE(!name.empty() && name.size() <= DownloadName::longest &&
                    name.find('/') == std::string::npos)
            << name;
    });
}
