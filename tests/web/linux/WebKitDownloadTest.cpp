#include "Browser.h"

#include <fstream>
#include <sstream>

using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

class WebKitDownload : public WebKitTest {
protected:
    WebKitDownload() {
        server.pages["/"] = {"<!doctype html>"};
        browser.view->onDownload = [this](const std::shared_ptr<Download>& download) { take(download); };
        browser.shows(server.url("/"));
    }

    void take(const std::shared_ptr<Download>& download) {
        taken.push_back(download);
        download->decideDestination = [this](const std::string& name) {
            names.push_back(name);
            return destination;
        };
        download->onFinished = [this] { ends.emplace_back("finished"); };
        download->onFailed = [this](const Error& error) {
            ends.push_back(std::string("failed ") + error.what());
        };
        download->onCancelled = [this] { ends.emplace_back("cancelled"); };
        download->onProgress = [this](double fraction) { progress.push_back(fraction); };
    }
    /// Clicks a link to what the expression says, to be saved under that name if it has one.
    void click(const std::string& expression, const std::string& name) {
        browser.ask("const a = document.createElement('a'); a.href = " + expression + "; const name = '" +
                    name + "'; if (name) a.download = name; document.body.append(a); a.click()");
    }
    /// How the download that such a link leads to has ended.
    std::string end(const std::string& expression, const std::string& name) {
        const auto before = ends.size();
        click(expression, name);
        MainLoop::runUntil([&] { return ends.size() > before; });
        return ends.back();
    }
    /// What the download has left, which goes.
    std::string saved() const {
        const auto text = (std::ostringstream() << std::ifstream(*destination).rdbuf()).str();
        fs::remove(*destination);
        return text;
    }

    std::optional<fs::path> destination = newFolder() / "file";
    std::vector<std::shared_ptr<Download>> taken;
    std::vector<std::string> names;
    std::vector<std::string> ends;
    std::vector<double> progress;
};

} // namespace

TEST_F(WebKitDownload, savesWhatALinkAsksForAndWhatTheServiceSendsAsAFile) {
    server.pages["/export"] = {"a,b", "text/csv"};
    server.pages["/a"] = {
        "text", "text/plain", 200, {{"Content-Disposition", "attachment; filename=\"../../x.txt\""}}};
    server.pages["/archive.zip"] = {"PK", "application/zip"};
    const auto* const name = "Übersicht, ganz.csv";
    for (const auto& [link, given, expected, content] :
         {std::tuple("'/export'", name, name, "a,b"),
          std::tuple("'data:text/plain,hello'", name, name, "hello"),
          std::tuple("URL.createObjectURL(new Blob(['blob']))", name, name, "blob"),
          std::tuple("'/a'", "", "x.txt", "text"), std::tuple("'/archive.zip'", "", "archive.zip", "PK")}) {
        EXPECT_EQ(end(link, given), "finished") << link;
        EXPECT_THAT(names.back(), testing::EndsWith(expected)) << link;
        EXPECT_EQ(saved(), content) << link;
    }
    EXPECT_THAT(browser.failed, IsEmpty());
    EXPECT_EQ(browser.ask("return location.pathname"), "/");
    EXPECT_EQ(progress.back(), 1);
}

TEST_F(WebKitDownload, saysHowItEndedOnceWhateverGoesWrong) {
    EXPECT_EQ(end("'/missing'", "a"), "failed Not Found");
    destination = "/nonexistent/folder/file";
    EXPECT_THAT(end("'data:text/plain,hello'", "a"), testing::StartsWith("failed "));
    destination.reset();
    EXPECT_EQ(end("'data:text/plain,hello'", "a"), "cancelled");

    click("'/silent'", "slow.zip");
    // The service may be asked before the engine announces the download.
    MainLoop::runUntil([&] { return taken.size() == 4 && server.wasAsked("/silent"); });
    browser.view.reset();
    taken.back()->cancel();
    MainLoop::runUntil([&] { return ends.size() == 4; });
    EXPECT_EQ(ends.back(), "cancelled") << "it goes on without the page";
    taken.back()->cancel();
    browser.engine.reset();
    EXPECT_EQ(ends.size(), 4U);
    EXPECT_THAT(browser.failed, IsEmpty());
}
