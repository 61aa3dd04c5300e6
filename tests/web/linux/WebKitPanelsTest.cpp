#include "Browser.h"
#include "fakes/FakeDownloads.h"
#include "platform/linux/DurableFile.h"

#include <fstream>

namespace {

/// What a page asks of the person, answered by the test.
class WebKitPanels : public WebKitTest {
protected:
    WebKitPanels() {
        server.pages["/"] = {"<!doctype html><input type=file id=one accept='text/csv,.txt'>"
                             "<input type=file id=many multiple>"};
        auto& view = *browser.view;
        view.onAlert = [this](const std::string& message, auto closed) {
            return panels.alert("", message, std::move(closed));
        };
        view.onConfirm = [this](const std::string& message, auto answered) {
            return panels.confirm("", message, std::move(answered));
        };
        view.onPrompt = [this](const std::string& message, const std::string& suggestion, auto answered) {
            return panels.prompt("", message, suggestion, std::move(answered));
        };
        view.onPrint = [this](std::shared_ptr<PrintJob> job, auto closed) {
            return panels.print(std::move(job), std::move(closed));
        };
        view.onChooseFiles = [this](const Panels::FileChoice& choice, auto chosen) {
            return panels.chooseFiles(choice, std::move(chosen));
        };
        browser.shows(server.url("/"));
    }

    bool isOpen() const { return !panels.open().empty(); }
    /// Starts a script that asks something; what it returns comes once that is answered.
    auto start(const std::string& body) {
        auto answered = begin(browser.view->evaluateForResult(body));
        MainLoop::runUntil([&] { return isOpen() || answered->ended(); });
        if (!isOpen())
            throw std::runtime_error("answered by itself: " + body);
        return answered;
    }

    FakePanels panels;
};

} // namespace

TEST_F(WebKitPanels, asksAndTellsThePageWhatWasAnsweredAndHandsItTheChosenFiles) {
    bool refused = false; // a load, for which the page's questions go on
    browser.view->decidePolicy = [&](const NavigationAction&) {
        refused = true;
        return NavigationPolicy::cancel;
    };
    browser.view->load(server.url("/refused"), patience);
    MainLoop::runUntil([&] { return refused; });
    browser.ask("return 1");
    const auto told = start("alert('Saved. <b>é</b>'); return 'on'");
    EXPECT_EQ(panels.open().front()->message, "Saved. <b>é</b>");
    EXPECT_FALSE(told->ended()) << "the page goes on before the alert is closed";
    panels.answer();
    EXPECT_EQ(MainLoop::finish(told), Json("on"));
    for (const auto ok : {true, false}) {
        const auto answered = start("return confirm('Sure?')");
        panels.answer(ok);
        EXPECT_EQ(MainLoop::finish(answered), Json(ok));
    }
    for (const auto ok : {true, false}) {
        const auto answered = start("return prompt('Name?', 'é')");
        panels.answer(ok);
        EXPECT_EQ(MainLoop::finish(answered), ok ? Json("é!") : Json());
    }
    EXPECT_EQ(browser.ask("return [await Notification.requestPermission(), await new Promise((r) =>"
                          "navigator.geolocation.getCurrentPosition(() => r('granted'), (e) => r(e.code)))]"),
              parseJson(R"(["denied", 1])")); // PERMISSION_DENIED
    EXPECT_EQ(panels.shown, 5);

    const auto folder = newFolder();
    std::ofstream(folder / "a.txt") << "first";
    std::ofstream(folder / "é b.txt") << "second";
    const auto choose = [this](const std::string& field) {
        return start("const f = document.getElementById('" + field +
                     "'); const end = new Promise((r) => { f.onchange = () => r('chosen');"
                     "f.oncancel = () => r('cancelled') }); f.click(); const how = await end;"
                     "return [how, ...await Promise.all([...f.files].map((x) => x.text()))]");
    };
    const auto chosen = choose("many");
    EXPECT_TRUE(panels.open().front()->choice.multiple);
    panels.answer(true, {folder / "a.txt", folder / "é b.txt"});
    EXPECT_EQ(MainLoop::finish(chosen), parseJson(R"(["chosen", "first", "second"])"));
    const auto cancelled = choose("one");
    EXPECT_FALSE(panels.open().front()->choice.multiple);
    EXPECT_THAT(panels.open().front()->choice.types, testing::Contains("text/csv"));
    panels.answer(false);
    EXPECT_EQ(MainLoop::finish(cancelled), parseJson(R"(["cancelled"])"));
}

TEST_F(WebKitPanels, printsThePageAsThePersonSaysAndAsksOnceAtATime) {
    browser.ask("print(); print(); return 1");
    EXPECT_EQ(panels.shown, 1);
    const auto job = std::dynamic_pointer_cast<PagePrintJob>(panels.open().at(0)->job);
    const auto file = newFolder() / "page.pdf";
    const auto settings = GPtr<GtkPrintSettings>::take(gtk_print_settings_new());
    gtk_print_settings_set_printer(settings.get(), "Print to File");
    gtk_print_settings_set(settings.get(), GTK_PRINT_SETTINGS_OUTPUT_FILE_FORMAT, "pdf");
    gtk_print_settings_set(settings.get(), GTK_PRINT_SETTINGS_OUTPUT_URI,
                           ("file://" + file.string()).c_str());
    job->print(settings.get(), GPtr<GtkPageSetup>::take(gtk_page_setup_new()).get());
    panels.answer();
    MainLoop::poll([&] { return DurableFile::read(file).value_or("").starts_with("%PDF"); });
    browser.ask("print(); return 1");
    EXPECT_EQ(panels.shown, 2);
    browser.shows(server.url("/"));
    EXPECT_FALSE(isOpen());
}

TEST_F(WebKitPanels, closesWhatIsOpenWhenThePageGoesAwayAlsoOneThatNeverStopsAskingOrWouldRatherStay) {
    browser.ask("onbeforeunload = (e) => { e.preventDefault(); return 'stay' }");
    browser.shows(server.url("/?left"));
    EXPECT_EQ(panels.shown, 0);
    const auto closedBy = [&](const std::string& script, const std::function<void()>& leave) {
        const auto asked = start(script);
        browser.follow(leave);
        EXPECT_FALSE(isOpen()) << script;
        MainLoop::finish(asked);
    };
    closedBy("alert('x'); return 1", [&] { browser.view->reload(); });
    closedBy("document.getElementById('one').click(); await new Promise(() => {})",
             [&] { browser.view->load(server.url("/"), patience); });
    closedBy("return confirm('x')", [&] { spawn(browser.store().removeAllData()); });
    browser.shows(server.url("/"));
    start("for (;;) alert('again')");
    panels.answer();
    MainLoop::runUntil([&] { return isOpen(); });
    EXPECT_TRUE(browser.view->isWaitingForAnswer());
    EXPECT_TRUE(browser.shows(server.url("/")));
    EXPECT_FALSE(isOpen() || browser.view->isWaitingForAnswer());
    start("return confirm('x')");
    browser.view.reset();
    EXPECT_FALSE(isOpen());
}
