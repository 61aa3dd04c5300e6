#include "Browser.h"
#include "PageServer.h"
#include "demo/Certificate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

class WebKitDownload : public testing::Test {
protected:
    WebKitDownload() : certificate(Demo::Certificate::make()), server(certificate.tls.get()) {
        server.pages["/"] = PageServer::Page("<!doctype html><a id=link>");
        browser = std::make_unique<Browser>(server.origin(), certificate.pem);
        browser->view->onDownload = [this](const std::shared_ptr<Download>& download) { take(download); };
        EXPECT_TRUE(browser->shows(server.url("/")));
    }

    void take(const std::shared_ptr<Download>& download) {
        download->decideDestination = [this](const std::string& name) -> std::optional<fs::path> {
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
    void click(const std::string& attributes) {
        browser->ask("const a = document.createElement('a'); Object.assign(a, " + attributes +
                     "); document.body.append(a); a.click(); return 1");
    }
    void awaitEnd() {
        awaited += 1;
        MainLoop::runUntil([&] { return ends.size() >= awaited; });
    }
    std::string saved() const {
        std::ifstream file(*destination);
        return (std::ostringstream() << file.rdbuf()).str();
    }

    Demo::Certificate certificate;
    PageServer server;
    std::optional<fs::path> destination = newEngineFolder() / "file";
    std::unique_ptr<Browser> browser;
    std::vector<std::string> names;
    std::vector<std::string> ends;
    std::size_t awaited = 0;
    std::vector<double> progress;
};

} // namespace

TEST_F(WebKitDownload, savesWhatALinkAsksForWithTheNameThatItGives) {
    server.pages["/export"] = PageServer::Page("a,b", "text/csv");
    for (const auto& [link, content] :
         {std::pair("{href: '/export', download: 'Übersicht, ganz.csv'}", "a,b"),
          std::pair("{href: 'data:text/plain,hello', download: 'Übersicht, ganz.csv'}", "hello"),
          std::pair("{href: URL.createObjectURL(new Blob(['blob'])), download: 'Übersicht, ganz.csv', "
                    "target: '_blank'}",
                    "blob")}) {
        fs::remove(*destination);
        click(link);
        awaitEnd();
        EXPECT_EQ(names.back(), "Übersicht, ganz.csv") << link;
        EXPECT_EQ(saved(), content);
    }
    EXPECT_THAT(ends, ElementsAre("finished", "finished", "finished"));
    EXPECT_THAT(browser->failures, IsEmpty());
    EXPECT_EQ(browser->ask("return location.pathname"), "/");
    EXPECT_FALSE(progress.empty());
}

TEST_F(WebKitDownload, savesWhatTheServiceSendsAsAFile) {
    server.pages["/a"] = PageServer::Page("text", "text/plain", 200, {},
                                          {{"Content-Disposition", "attachment; filename=\"../../x.txt\""}});
    server.pages["/archive.zip"] = PageServer::Page("PK", "application/zip");
    for (const auto& [path, content] : {std::pair("/a", "text"), std::pair("/archive.zip", "PK")}) {
        fs::remove(*destination);
        click("{href: '" + std::string(path) + "'}");
        awaitEnd();
        EXPECT_EQ(saved(), content);
    }
    EXPECT_THAT(names[0], testing::EndsWith("x.txt"));
    EXPECT_EQ(names[1], "archive.zip");
    EXPECT_THAT(ends, ElementsAre("finished", "finished"));
    EXPECT_EQ(browser->ask("return location.pathname"), "/");
}

TEST_F(WebKitDownload, saysHowItEndedOnceWhateverGoesWrong) {
    server.pages["/broken.zip"] =
        PageServer::Page(std::string(4096, 'x'), "application/zip", 200, {}, {}, true);
    const auto good = *destination;
    destination = "/nonexistent/folder/file";
    click("{href: 'data:text/plain,hello', download: 'a'}");
    awaitEnd();
    destination.reset();
    click("{href: 'data:text/plain,hello', download: 'a'}");
    awaitEnd();
    destination = good;
    click("{href: '/missing', download: 'a'}");
    awaitEnd();
    click("{href: '/broken.zip'}");
    awaitEnd();
    ASSERT_EQ(ends.size(), 4U);
    EXPECT_THAT(ends[0], testing::StartsWith("failed "));
    EXPECT_EQ(ends[1], "cancelled");
    EXPECT_EQ(ends[2], "failed Not Found");
    EXPECT_THAT(ends[3], testing::StartsWith("failed ")) << "half a file was taken for a whole one";
    EXPECT_THAT(browser->failures, IsEmpty());
}

TEST_F(WebKitDownload, goesOnWithoutThePageAndEndsWithTheEngine) {
    server.silentPath = "/slow.zip";
    std::shared_ptr<Download> kept;
    browser->view->onDownload = [&](const std::shared_ptr<Download>& download) {
        take(download);
        kept = download;
    };
    click("{href: '/slow.zip', download: 'slow.zip'}");
    MainLoop::runUntil([&] { return kept && server.wasAsked("/slow.zip"); });
    browser->view.reset();
    kept->cancel();
    MainLoop::runUntil([&] { return !ends.empty(); });
    EXPECT_THAT(ends, ElementsAre("cancelled"));
    kept->cancel();
    browser.reset();
    EXPECT_EQ(ends.size(), 1U);
}
