#include "Browser.h"

#include <fstream>
#include <sstream>

using testing::ElementsAre;
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
        latest = download;
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
    /// Clicks a link with these attributes.
    void click(const std::string& attributes) {
        browser.ask("const a = document.createElement('a'); Object.assign(a, " + attributes +
                    "); document.body.append(a); a.click()");
    }
    /// How the download that such a link leads to has ended.
    std::string end(const std::string& attributes) {
        const auto before = ends.size();
        click(attributes);
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
    std::shared_ptr<Download> latest;
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
    const std::string given = "Übersicht, ganz.csv";
    for (const auto& [link, content, name] :
         {std::tuple("{href: '/export', download: '" + given + "'}", "a,b", given),
          std::tuple("{href: 'data:text/plain,hello', download: '" + given + "'}", "hello", given),
          std::tuple("{href: URL.createObjectURL(new Blob(['blob'])), target: '_blank', download: '" + given +
                         "'}",
                     "blob", given),
          std::tuple(std::string("{href: '/a'}"), "text", std::string("x.txt")),
          std::tuple(std::string("{href: '/archive.zip'}"), "PK", std::string("archive.zip"))}) {
        EXPECT_EQ(end(link), "finished") << link;
        EXPECT_THAT(names.back(), testing::EndsWith(name)) << link;
        EXPECT_EQ(saved(), content) << link;
    }
    EXPECT_THAT(browser.failed, IsEmpty());
    EXPECT_EQ(browser.ask("return location.pathname"), "/");
    EXPECT_EQ(progress.back(), 1);
}

TEST_F(WebKitDownload, saysHowItEndedOnceWhateverGoesWrong) {
    EXPECT_EQ(end("{href: '/missing', download: 'a'}"), "failed Not Found");
    destination = "/nonexistent/folder/file";
    EXPECT_THAT(end("{href: 'data:text/plain,hello', download: 'a'}"), testing::StartsWith("failed "));
    destination.reset();
    EXPECT_EQ(end("{href: 'data:text/plain,hello', download: 'a'}"), "cancelled");

    click("{href: '/silent', download: 'slow.zip'}");
    MainLoop::runUntil([&] { return server.wasAsked("/silent"); });
    browser.view.reset();
    latest->cancel();
    MainLoop::runUntil([&] { return ends.size() == 4; });
    EXPECT_EQ(ends.back(), "cancelled") << "it goes on without the page";
    latest->cancel();
    browser.engine.reset();
    EXPECT_EQ(ends.size(), 4U);
    EXPECT_THAT(browser.failed, IsEmpty());
}
