#include "web/Downloads.h"

#include "fakes/FakeDownloads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto title = "The download did not finish";

class DownloadsTest : public testing::Test {
protected:
    FakeDownloadFolder folder;
    FakeDock dock;
    FakePanels panels;
    std::shared_ptr<Downloads> downloads = Downloads::make(folder, dock, panels);

    std::shared_ptr<FakeDownload> take() {
        auto download = std::make_shared<FakeDownload>(folder);
        downloads->take(download);
        return download;
    }
    std::shared_ptr<FakeDownload> begin(const std::string& name) {
        auto download = take();
        download->begin(name);
        return download;
    }
    static std::filesystem::path inFolder(const std::string& name) { return "/home/ada/Downloads/" + name; }
};

} // namespace

TEST_F(DownloadsTest, aFileHasItsNameOnlyOnceItIsWholeAndOnTheDisk) {
    folder.hold = true;
    const auto download = begin("../a");
    EXPECT_THAT(folder.names(), ElementsAre(".a.brisko.part"));
    download->finish();
    EXPECT_THAT(folder.names(), ElementsAre(".a.brisko.part"));
    folder.release();
    EXPECT_THAT(folder.names(), ElementsAre("a"));
    EXPECT_THAT(folder.announced, ElementsAre(inFolder("a")));
    EXPECT_EQ(panels.shown, 0);

    begin("b")->finish();
    folder.release(Error("Input/output error"));
    EXPECT_EQ(panels.open().at(0)->message, "Input/output error");
    EXPECT_THAT(folder.names(), ElementsAre("a"));

    begin("c")->finish();
    downloads->end();
    EXPECT_THAT(folder.names(), ElementsAre("a", "c")) << "what is whole at the end is kept";
    folder.release();
    EXPECT_THAT(folder.names(), ElementsAre("a", "c"));
    EXPECT_EQ(folder.announced.size(), 2u);
}

TEST_F(DownloadsTest, twoOfOneNameAtTheSameMomentGetTwoNamesInWhicheverOrderTheyEnd) {
    folder.files.insert(inFolder(".report 2.pdf.brisko.part")); // left by a crash
    const auto first = begin("report.pdf");
    const auto second = begin("report.pdf");
    second->finish();
    const auto third = begin("report.pdf");
    first->finish();
    third->finish();
    EXPECT_THAT(folder.announced,
                ElementsAre(inFolder("report 2.pdf"), inFolder("report.pdf"), inFolder("report 3.pdf")));

    begin("notes")->cancel();
    begin("notes")->finish();
    EXPECT_EQ(folder.announced.back(), inFolder("notes")) << "the name of what has gone is free again";
}

TEST_F(DownloadsTest, aNameThatSomebodyElseHasTakenMeanwhileIsNotReplaced) {
    const auto second = [&] {
        folder.files.insert(inFolder("report.pdf"));
        return begin("report.pdf");
    }();
    const auto other = begin("report.pdf");
    folder.files.insert({inFolder("report 2.pdf"), inFolder("report 4.pdf")});
    second->finish();
    EXPECT_THAT(folder.announced, ElementsAre(inFolder("report 5.pdf"))) << "3 is promised to another one";
    other->finish();
    EXPECT_THAT(folder.names(),
                ElementsAre("report 2.pdf", "report 3.pdf", "report 4.pdf", "report 5.pdf", "report.pdf"));
}

TEST_F(DownloadsTest, whatDoesNotFinishLeavesNothingAndIsToldOnce) {
    begin("a")->fail(Error("Not Found"));
    EXPECT_THAT(folder.names(), IsEmpty());
    ASSERT_EQ(panels.open().size(), 1u);
    EXPECT_EQ(panels.open()[0]->title, title);
    EXPECT_EQ(panels.open()[0]->message, "Not Found");
    panels.answer();
    EXPECT_THAT(panels.open(), IsEmpty());

    take()->fail(Error("Connection reset")); // before anybody asked for a name
    panels.answer();
    begin("b")->cancel();
    EXPECT_THAT(folder.names(), IsEmpty());
    EXPECT_EQ(panels.shown, 2) << "who cancels knows";
}

TEST_F(DownloadsTest, manyFailuresComeOneAtATimeAndNoneTwice) {
    const auto full = begin("a");
    for (int i = 0; i < 50; ++i)
        begin("b")->fail(Error("No space left on device"));
    full->fail(Error("Not Found"));
    ASSERT_EQ(panels.open().size(), 1u);
    EXPECT_EQ(panels.open()[0]->message, "No space left on device");
    panels.answer();
    ASSERT_EQ(panels.open().size(), 1u);
    EXPECT_EQ(panels.open()[0]->message, "Not Found");
    panels.answer();
    begin("c")->fail(Error("No space left on device"));
    EXPECT_EQ(panels.shown, 3) << "a new failure is told again once the alert of the old one is closed";
}

TEST_F(DownloadsTest, aWholeFileThatCannotBePlacedHasNotFinished) {
    folder.refusal = Error("Permission denied");
    begin("a")->finish();
    EXPECT_THAT(folder.names(), IsEmpty());
    EXPECT_THAT(folder.announced, IsEmpty());
    ASSERT_EQ(panels.open().size(), 1u);
    EXPECT_EQ(panels.open()[0]->message, "Permission denied");
    panels.answer();

    folder.refusal.reset();
    const auto removed = begin("a");
    folder.files.clear();
    removed->finish();
    EXPECT_EQ(panels.open().size(), 1u) << "somebody tidied the folder up";
}

TEST_F(DownloadsTest, withoutAFolderADownloadIsCancelledInSilenceAndWithoutOneThatCanBeMadeItIsTold) {
    folder.folder.reset();
    EXPECT_TRUE(begin("a")->cancelled);
    EXPECT_EQ(panels.shown, 0);
    folder.missing = Error("Read-only file system");
    EXPECT_TRUE(begin("a")->cancelled);
    ASSERT_EQ(panels.open().size(), 1u);
    EXPECT_EQ(panels.open()[0]->message, "Read-only file system");
}

TEST_F(DownloadsTest, theIconShowsTheMeanOfThoseWhoseLengthIsKnownInStepsThatCanBeSeen) {
    const auto first = begin("a");
    const auto unknown = begin("b");
    const auto second = begin("c");
    EXPECT_THAT(dock.told, IsEmpty());
    first->progress(0.5);
    EXPECT_EQ(dock.progress, 0.5);
    second->progress(0.2);
    EXPECT_EQ(dock.progress, 0.35);
    second->progress(17);
    EXPECT_EQ(dock.progress, 0.75);
    second->fail(Error("Not Found"));
    EXPECT_EQ(dock.progress, 0.5);
    dock.told.clear();
    for (int i = 0; i < 100'000; ++i)
        first->progress(i / 100'000.0);
    EXPECT_EQ(dock.told.size(), 101u);
    first->finish();
    EXPECT_EQ(dock.progress, std::nullopt);
    unknown->finish();
    EXPECT_EQ(dock.progress, std::nullopt);
}

TEST_F(DownloadsTest, theEndCancelsAllDiscardsWhatHasComeAndSaysNothing) {
    begin("a")->fail(Error("Not Found"));
    const auto download = begin("b");
    const auto fresh = take();
    download->progress(0.5);
    downloads->end();
    EXPECT_TRUE(download->cancelled && fresh->cancelled && take()->cancelled);
    EXPECT_THAT(folder.names(), IsEmpty());
    EXPECT_THAT(panels.open(), IsEmpty());
    EXPECT_EQ(dock.progress, std::nullopt);
    EXPECT_EQ(fresh->decideDestination("late"), std::nullopt);
}

TEST_F(DownloadsTest, aDownloadThatOutlivesAllIsOnItsOwn) {
    const auto download = begin("a");
    const auto other = begin("b");
    downloads.reset();
    download->progress(0.5);
    download->finish();
    other->fail(Error("Not Found"));
    EXPECT_EQ(panels.shown, 0);
    EXPECT_THAT(folder.announced, IsEmpty());
}
