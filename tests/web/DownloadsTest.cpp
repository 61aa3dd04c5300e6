#include "web/Downloads.h"

#include "Scenario.h"
#include "fakes/FakeDownloads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

class DownloadsTest : public testing::Test {
protected:
    FakeDownloadFolder folder;
    FakeDock dock;
    FakePanels panels;
    std::shared_ptr<Downloads> downloads = Downloads::make(folder, dock, panels);
    std::vector<std::shared_ptr<FakeDownload>> taken; ///< rows name them by their numbers

    std::shared_ptr<FakeDownload> begin(const std::string& name) {
        taken.push_back(std::make_shared<FakeDownload>(folder));
        downloads->take(taken.back());
        if (!name.empty())
            taken.back()->begin(name);
        return taken.back();
    }
    FakeDownload& at(const std::string& number) const { return *taken.at(std::stoul(number)); }
    void say(const std::string& text) { story.said += (story.said.empty() ? "" : "; ") + text; }

    Scenario story{
        [this] {
            for (const auto& file : std::exchange(folder.announced, {}))
                say("announces " + file.filename().string());
            for (; !panels.open().empty(); panels.answer()) { // a person closes one after the other
                EXPECT_EQ(panels.open().size(), 1U) << "one at a time";
                EXPECT_EQ(panels.open()[0]->title, "The download did not finish");
                say("tells " + panels.open()[0]->message);
            }
            std::string cancelled;
            for (std::size_t number = 0; number < taken.size(); ++number)
                cancelled += taken[number]->cancelled ? std::to_string(number) : "";
            return Scenario::Sight{{"cancelled", cancelled}, {"files", Scenario::list(folder.names())}};
        },
        {{"begin", [this](const auto& name) { begin(name); }},
         {"finish", [this](const auto& number) { at(number).finish(); }},
         {"fail", [this](const auto& rest) { at(rest).fail(Error(rest.substr(2))); }},
         {"cancel", [this](const auto& number) { at(number).cancel(); }},
         {"end", [this](const auto&) { downloads->end(); }},
         {"hold", [this](const auto&) { folder.hold = true; }},
         {"release", [this](const auto&) { folder.release(); }},
         {"break", [this](const auto& why) { folder.release(Error(why)); }},
         {"put", [this](const auto& name) { folder.files.insert(*folder.folder / name); }},
         {"tidy", [this](const auto&) { folder.files.clear(); }},
         {"lose", [this](const auto&) { folder.folder.reset(); }}}};
};

} // namespace

TEST_F(DownloadsTest, aFileHasItsNameOnlyOnceItIsWholeAndOnTheDiskAndOneOfItsOwn) {
    story.play({{"hold, begin ../a, finish 0", "files .a.brisko.part"},
                {"release", "announces a; files a"},
                {"begin b, finish 1, break Input/output error", "tells Input/output error"},
                {"begin c, finish 2, end", "announces c; files a c"}, // what is whole at the end is kept
                {"release", ""}});
    folder.hold = false;
    taken.clear();
    downloads = Downloads::make(folder, dock, panels);
    story.play({{"tidy, put .r 2.pdf.brisko.part", "files .r 2.pdf.brisko.part"}, // left by a crash
                {"begin r.pdf, begin r.pdf, finish 1, begin r.pdf, finish 0, finish 2, tidy",
                 "announces r 2.pdf; announces r.pdf; announces r 3.pdf; no files"},
                {"put n, begin n, cancel 3", "cancelled 3; files n"},
                {"begin n, finish 4, tidy", "announces n 2; no files"}, // what has gone leaves its name
                {"begin r.pdf, begin r.pdf, put r.pdf, finish 5",
                 "announces r 3.pdf; files .r 2.pdf.brisko.part r 3.pdf r.pdf"}});
}

TEST_F(DownloadsTest, whatDoesNotFinishLeavesNothingAndIsToldOnceUnlessAPersonWantedIt) {
    story.play({{"begin a, begin b, fail 1 Full, begin b, fail 2 Full, fail 0 Not Found",
                 "tells Full; tells Not Found"},
                {"begin, fail 3 Not Found", "tells Not Found"}, // before anybody asked for a name
                {"begin b, cancel 4", "cancelled 4"},
                {"begin a, tidy, finish 5", "tells No such file or directory"},
                {"lose, begin a", "cancelled 46"}});
}

TEST_F(DownloadsTest, theIconShowsTheMeanOfThoseWhoseLengthIsKnownInStepsThatCanBeSeen) {
    const auto first = begin("a");
    const auto unknown = begin("b");
    const auto second = begin("c");
    first->progress(0.5);
    second->progress(0.2);
    second->progress(17);
    second->fail(Error("Not Found"));
    EXPECT_THAT(std::exchange(dock.told, {}), ElementsAre(0.5, 0.35, 0.75, 0.5));
    for (int i = 0; i < 1000; ++i)
        first->progress(i / 1000.0);
    EXPECT_EQ(dock.told.size(), 101u);
    first->finish();
    unknown->finish();
    EXPECT_EQ(dock.told.back(), std::nullopt);
}

TEST_F(DownloadsTest, theEndCancelsAllDiscardsWhatHasComeAndSaysNothing) {
    begin("b")->progress(0.5);
    const auto fresh = begin("");
    story.play({{"begin a, fail 2 Not Found, end, begin", "cancelled 013; no files"}});
    EXPECT_EQ(dock.told.back(), std::nullopt);
    EXPECT_EQ(fresh->decideDestination("late"), std::nullopt);
    downloads = Downloads::make(folder, dock, panels);
    const auto outlasting = begin("c");
    downloads.reset();
    outlasting->finish();
    EXPECT_TRUE(folder.announced.empty()) << "it is on its own";
}
