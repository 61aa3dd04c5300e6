#include "web/DownloadName.h"

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
    return times == 0 ? "" : text + repeated(text, times - 1);
}

} // namespace

TEST(DownloadName, isTheSuggestedOneMadeUsableAndCountsUpFromTwoBeforeTheExtension) {
    using std::pair;
    for (const auto& [suggested, name] :
         {pair("../../x", "x"), pair("folder/", "folder"), pair("...hidden.txt", "hidden.txt"),
          pair(". .x", "x"), pair("notes. ", "notes"), pair("a\nb\x7f.txt", "a b_.txt"),
          pair("a\u2028b\u0085c", "a b c"), pair("Z\xc3\xbcrich \xff\xc3.csv", "Zürich __.csv"),
          pair("\xed\xa0\x80", "___"), pair("photo\u202egpj.exe", "photogpj.exe"),
          pair("\u2067x\u2069.txt\ufeff", "x.txt")})
        EXPECT_EQ(chosen(suggested), name) << suggested;
    EXPECT_EQ(chosen(std::string("a\0b", 3)), "a_b");
    for (const auto* harmless : {"weiß \U0001f469\u200d\U0001f680 你好.zip", R"(C:\Temp\a:b.txt)", "-rf *"})
        EXPECT_EQ(chosen(harmless), harmless);
    for (const auto* nameless : {"", "a/..", "///", " \t . ", " \u3000. "})
        EXPECT_EQ(chosen(nameless), "download") << nameless;
    const std::set<std::string> there = {"report.pdf", "report 2.pdf", "notes", "a.b"};
    for (const auto& [suggested, name] : {pair("report.pdf", "report 3.pdf"), pair("x/notes", "notes 2"),
                                          pair("a.b", "a 2.b"), pair("other.pdf", "other.pdf")})
        EXPECT_EQ(chosen(suggested, there), name) << suggested;
}

TEST(DownloadName, fitsTheFileSystemWithItsNumberAndItsPartialAndKeepsItsExtension) {
    constexpr std::size_t nameMax = 255;
    const auto stem = repeated("ü", 300);
    for (const auto& [suggested, extension] :
         {std::pair(stem + ".pdf", ".pdf"), std::pair("x" + stem + ".pdf", ".pdf"), std::pair(stem, ""),
          std::pair(repeated("x", 300) + ". ." + repeated("y", 300), ""),
          std::pair(repeated("\U0001f680", 5000) + ".html", ".html"),
          std::pair(repeated(" ", 300) + "x" + repeated(".", 300), "")}) {
        const auto name = chosen(suggested);
        EXPECT_LE(name.size(), DownloadName::longest);
        EXPECT_EQ(DownloadName::usable(name), name) << "well-formed, and trimmed again";
        EXPECT_EQ(fs::path(name).extension(), extension);
        const auto crowded = [asked = 0](const fs::path&) mutable { return ++asked < 20'000; };
        const auto partial = DownloadName::partial(DownloadName::unused(suggested, folder, crowded), crowded);
        EXPECT_EQ(partial.parent_path(), folder);
        EXPECT_LE(partial.filename().string().size(), nameMax);
    }
}
