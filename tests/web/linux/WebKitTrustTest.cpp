#include "Browser.h"

#include <signal.h>

namespace {

class WebKitTrust : public WebKitTest {
protected:
    WebKitTrust() { server.pages["/"] = {"hello"}; }
};

} // namespace

TEST_F(WebKitTrust, sendsNothingToAServerForWhoseNameTheTrustedFileDoesNotVouch) {
    const auto authority = newCertificate("DNS:authority");
    PageServer issued(newCertificate("DNS:localhost", authority));
    PageServer misnamed(newCertificate("DNS:other.example", authority));
    issued.pages = misnamed.pages = server.pages;
    EXPECT_FALSE(browser.shows(server.url("/", "127.0.0.1")))
        << "another host, though the certificate names it";
    Browser untrusting(server.url(), std::nullopt);
    EXPECT_FALSE(untrusting.shows(server.url("/")));
    Browser of(issued.url(), authority);
    EXPECT_FALSE(of.shows(misnamed.url("/")));
    EXPECT_FALSE(of.shows(server.url("/")));
    EXPECT_TRUE(misnamed.requests.empty() && server.requests.empty());
    EXPECT_TRUE(of.shows(issued.url("/")));
    EXPECT_EQ(of.ask("return (await fetch('/')).status"), 200);
}

TEST_F(WebKitTrust, outlastsTheNetworkProcess) {
    server.silentPath = "/silent";
    browser.load(server.url("/"));
    const auto cut =
        begin(browser.view->evaluateForResult("await fetch('/silent').catch(() => 0); return 1"));
    MainLoop::runUntil([&] { return server.wasAsked("/silent"); });
    const auto processes = engineProcesses(networkProcess);
    ASSERT_EQ(processes.size(), 1U);
    kill(*processes.begin(), SIGKILL);
    // The page knows first, then the engine.
    MainLoop::finish(cut);
    MainLoop::finish(browser.store().allCookies());
    // This request may tell that the new process trusts nobody yet; after an answer of that process it does.
    browser.ask("await fetch('/').catch(() => 0); return 1");
    MainLoop::finish(browser.store().allCookies());
    EXPECT_EQ(browser.ask("return (await fetch('/')).status"), 200);
    EXPECT_NE(engineProcesses(networkProcess), processes);
    EXPECT_TRUE(browser.shows(server.url("/")));
}
