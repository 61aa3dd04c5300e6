#include "web/DownloadName.h"

#include <gtest/gtest.h>

#include <set>

namespace {

namespace fs = std::filesystem;

const fs::path folder = "/home/ada/Downloads";

/// The name that is chosen where there are files of those names.
std::string chosen(const std::string& suggested, const std::set<std::string>& there = {}) {
    const auto exists = [&there](const fs::path& file) { return there.contains(file.filename()); };
    return DownloadName::unused(suggested, folder, exists).lexically_relative(folder);
}

} // namespace

TEST(DownloadName, isTheSuggestedOneMadeUsableAndCountsUpFromTwoBeforeTheExtension) {
    for (const auto& [suggested, name] : {std::pair("../../x", "x"),
                                          {"a\nb\x7f.txt", "a b_.txt"},
                                          {"a\u2028b\u0085c", "a b c"},
                                          {"Z\xc3\xbcrich \xff\xc3.csv", "Zürich __.csv"},
                                          {"photo\u202egpj.exe", "photogpj.exe"},
                                          {"\u2067x\u2069.txt\ufeff", "x.txt"},
                                          {"a/..", "download"},
                                          {" \u3000. ", "download"},
                                          {R"(C:\a:b.txt)", R"(C:\a:b.txt)"}})
        EXPECT_EQ(chosen(suggested), name) << suggested;
    const std::set<std::string> there = {"report.pdf", "report 2.pdf", "notes", "a.b"};
    for (const auto& [suggested, name] :
         {std::pair("report.pdf", "report 3.pdf"), {"x/notes", "notes 2"}, {"a.b", "a 2.b"}})
        EXPECT_EQ(chosen(suggested, there), name) << suggested;
    const auto longest = chosen(std::string(5000, 'x') + ".html");
    EXPECT_EQ(longest, std::string(DownloadName::longest - 5, 'x') + ".html");
    EXPECT_LE(DownloadName::partial(folder / longest, [](auto&) { return false; }).filename().string().size(),
              255U);
}
