#include "web/Downloads.h"

#include "fakes/FakeDownloads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
    static std::filesystem::path in(const std::string& name) { return "/home/ada/Downloads/" + name; }
    /// What a person reads, closing one alert after the other.
    std::vector<std::string> told() {
        std::vector<std::string> messages;
        while (!panels.open().empty()) {
            EXPECT_EQ(panels.open().size(), 1U) << "one at a time";
            EXPECT_EQ(panels.open()[0]->title, "The download did not finish");
            messages.push_back(panels.open()[0]->message);
            panels.answer();
        }
        return messages;
    }
};

} // namespace

TEST_F(DownloadsTest, aFileHasItsNameOnlyOnceItIsWholeAndOnTheDisk) {
    folder.hold = true;
    const auto download = begin("../a");
    download->finish();
    EXPECT_THAT(folder.names(), ElementsAre(".a.brisko.part"));
    folder.release();
    EXPECT_THAT(folder.names(), ElementsAre("a"));
    begin("b")->finish();
    folder.release(Error("Input/output error"));
    EXPECT_THAT(told(), ElementsAre("Input/output error"));
    begin("c")->finish();
    downloads->end();
    EXPECT_THAT(folder.names(), ElementsAre("a", "c")) << "what is whole at the end is kept";
    folder.release();
    EXPECT_THAT(folder.names(), ElementsAre("a", "c"));
    EXPECT_THAT(folder.announced, ElementsAre(in("a"), in("c")));
}

TEST_F(DownloadsTest, eachOfOneNameGetsItsOwnInWhicheverOrderTheyEnd) {
    folder.files.insert(in(".report 2.pdf.brisko.part")); // left by a crash
    const auto first = begin("report.pdf");
    begin("report.pdf")->finish();
    const auto third = begin("report.pdf");
    first->finish();
    third->finish();
    EXPECT_THAT(folder.announced, ElementsAre(in("report 2.pdf"), in("report.pdf"), in("report 3.pdf")));
    begin("notes")->cancel();
    begin("notes")->finish();
    EXPECT_EQ(folder.announced.back(), in("notes")) << "the name of what has gone is free again";
    const auto late = begin("report.pdf");
    begin("report.pdf");
    folder.files.insert(in("report 4.pdf"));
    late->finish();
    EXPECT_EQ(folder.announced.back(), in("report 6.pdf")) << "somebody took 4, and 5 is promised";
}

TEST_F(DownloadsTest, whatDoesNotFinishLeavesNothingAndIsToldOnceUnlessAPersonWantedIt) {
    const auto full = begin("a");
    for (int i = 0; i < 50; ++i)
        begin("b")->fail(Error("No space left on device"));
    full->fail(Error("Not Found"));
    EXPECT_THAT(told(), ElementsAre("No space left on device", "Not Found"));
    take()->fail(Error("Not Found")); // before anybody asked for a name
    EXPECT_THAT(told(), ElementsAre("Not Found")) << "a new failure is told again";
    begin("b")->cancel();
    folder.refusal = Error("Permission denied");
    begin("a")->finish();
    EXPECT_THAT(told(), ElementsAre("Permission denied"));
    EXPECT_THAT(folder.names(), IsEmpty());
    folder.refusal.reset();
    const auto removed = begin("a");
    folder.files.clear(); // somebody tidied the folder up
    removed->finish();
    EXPECT_THAT(told(), ElementsAre("No such file or directory"));
    folder.folder.reset();
    EXPECT_TRUE(begin("a")->cancelled);
    EXPECT_THAT(told(), IsEmpty());
    folder.missing = Error("Read-only file system");
    EXPECT_TRUE(begin("a")->cancelled);
    EXPECT_THAT(told(), ElementsAre("Read-only file system"));
    EXPECT_THAT(folder.announced, IsEmpty());
}

TEST_F(DownloadsTest, theIconShowsTheMeanOfThoseWhoseLengthIsKnownInStepsThatCanBeSeen) {
    const auto first = begin("a");
    const auto unknown = begin("b");
    const auto second = begin("c");
    EXPECT_THAT(dock.told, IsEmpty());
    first->progress(0.5);
    second->progress(0.2);
    second->progress(17);
    second->fail(Error("Not Found"));
    EXPECT_THAT(dock.told, ElementsAre(0.5, 0.35, 0.75, 0.5));
    dock.told.clear();
    for (int i = 0; i < 100'000; ++i)
        first->progress(i / 100'000.0);
    EXPECT_EQ(dock.told.size(), 101u);
    first->finish();
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
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_EQ(dock.progress, std::nullopt);
    EXPECT_EQ(fresh->decideDestination("late"), std::nullopt);
    downloads = Downloads::make(folder, dock, panels);
    const std::vector outlasting = {begin("c"), begin("d")};
    downloads.reset();
    outlasting[0]->finish();
    outlasting[1]->fail(Error("Not Found"));
    EXPECT_TRUE(panels.open().empty() && folder.announced.empty()) << "it is on its own";
}
