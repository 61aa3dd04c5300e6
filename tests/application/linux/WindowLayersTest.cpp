#include "application/linux/ActivationMonitor.h"
#include "application/linux/GtkPanels.h"
#include "application/linux/WindowTest.h"
#include "lock/linux/GtkEventMonitor.h"
#include "web/linux/WebEngine.h"

namespace {

struct Job : PagePrintJob {
    bool printed = false;

    void print(GtkPrintSettings* settings, GtkPageSetup* setup) override { printed = settings && setup; }
};

class WindowLayersTest : public WindowTest {
protected:
    NoteScreen lock{"Locked", "Passcode"};
    GtkPanels panels{window.window()};
    std::vector<Panels::Handle> handles;
    std::string answers;

    void alert(const std::string& title, const std::string& text = "text") {
        handles.push_back(panels.alert(title, text, [this, title] { answers += title + " "; }));
        Desk::seeKeyboardIn("OK");
    }
    void seeLock() {
        window.showOverlay(lock);
        Desk::seeKeyboardIn("Passcode");
    }
    /// With what is written in the fields.
    std::string seen() const {
        return page.field.get_text() + "/" + lock.field.get_text() + ": " +
               Desk::shown({"Page", "Note", "Its note", "Locked", "Passcode", "bris", "first", "second",
                            "third", "OK", "Choose a file", "Minutes", "About"});
    }
    void seeDrawn() {
        auto drawn = false;
        window.whenDrawn([&] { drawn = true; });
        EXPECT_EQ(drawn, !window.window().get_mapped());
        Desk::until([&] { return drawn; });
    }
};

} // namespace

TEST_F(WindowLayersTest, keepEverybodyFromPageAndWindowsUnderTheLockAndGiveThemBackAsTheyWere) {
    Desk::press("p");
    seeLock();
    Desk::press("Tab Tab <Shift>Tab Up F10 Escape 1");
    EXPECT_EQ(seen(), "p/1: Locked, Passcode");
    window.removeOverlay();
    Desk::seeKeyboardIn("Note");
    Desk::press("b");
    EXPECT_EQ(seen(), "pb/1: Page, Note");

    alert("first");
    handles.push_back(panels.chooseFiles({}, [](const auto&) {}));
    NoteScreen settings("Settings", "Minutes");
    window.presentSheet(settings);
    Desk::seeKeyboardIn("Minutes");
    seeLock();
    // What comes meanwhile waits too, but not what has nothing to do with the page.
    handles.push_back(panels.alert("second", "text", [] {}));
    NoteScreen other("Another page", "Its note");
    window.setContent(other);
    Gtk::Window about;
    about.set_title("About");
    WindowLayers::exempt(about);
    about.present();
    Desk::seeKeyboardIn("About");
    EXPECT_EQ(seen(), "pb/1: Locked, Passcode, About");
    window.dismissSheet();
    window.removeOverlay();
    about.close();
    Desk::until([this] { return seen() == "pb/1: Its note, first, second, OK, Choose a file"; });
    handles.clear();
    Desk::seeKeyboardIn("Its note");
    window.removeContent();
}

TEST_F(WindowLayersTest, coverEverythingWithNothingButTheNameAndTellWhenThatIsOnTheScreen) {
    alert("first");
    for (int round = 0; round < 2; ++round) {
        window.cover();
        seeDrawn();
        EXPECT_EQ(seen(), "/: bris");
        EXPECT_TRUE(Desk::find("first") && !Desk::find("OK")) << "its window stays, blank";
        Desk::press("Return Escape space");
        window.uncover();
        Desk::seeKeyboardIn("OK");
        EXPECT_EQ(answers, "");
    }
    Desk::press("Return");
    Desk::seeKeyboardIn("Note");
    EXPECT_EQ(answers, "first ");
    window.cover();
    int pressed = 0;
    window.onCoverPressed = [&] { pressed += 1; };
    Desk::seeKeyboardIn("Unlock");
    Desk::press("Return");
    EXPECT_EQ(pressed, 1);
    window.showOverlay(lock);
    Desk::press("1");
    EXPECT_EQ(seen(), "/: bris");
    window.uncover();
    Desk::seeKeyboardIn("Passcode");
    window.window().set_visible(false);
    seeDrawn();
}

TEST_F(WindowLayersTest, letPanelsFitAndGoWithTheWindowAndBeAnsweredOnce) {
    for (const auto& text : {std::string(1'000'000, 'x'), std::string(1'000'000, '\n')}) {
        alert("first", text);
        auto* const panel = Desk::find("first");
        Desk::until([&] { return gtk_widget_get_width(panel) > 0; });
        EXPECT_LT(gtk_widget_get_width(panel), WindowFrame::minimum.width);
        EXPECT_LT(gtk_widget_get_height(panel), WindowFrame::minimum.height);
        Desk::press("Next Prior Return");
        Desk::seeKeyboardIn("Note");
    }
    alert("second");
    alert("third");
    window.window().set_visible(false);
    handles.push_back(
        panels.chooseFiles({}, [this](const auto& paths) { answers += paths.empty() ? "-" : "+"; }));
    EXPECT_EQ(seen(), "/: ");
    window.present();
    panels.setBehind(true);
    EXPECT_EQ(seen(), "/: Page, Note");
    panels.setBehind(false);
    EXPECT_EQ(seen(), "/: Page, Note, second, third, OK, Choose a file");
    g_signal_emit_by_name(Desk::find("_Cancel"), "clicked");
    const auto ok = GPtr<GtkWidget>::share(Desk::find("OK"));
    for (int press = 0; press < 2; ++press)
        g_signal_emit_by_name(ok.get(), "clicked");
    handles.clear();
    Desk::seeKeyboardIn("Note");
    handles.push_back(
        panels.confirm("fourth", "?", [this](bool isSure) { answers += isSure ? "yes" : "no"; }));
    Desk::seeKeyboardIn("OK");
    Desk::press("Tab Return");
    Desk::seeKeyboardIn("Note");
    for (const auto* keys : {"n e w Return", "Escape"}) {
        handles.push_back(panels.prompt("fifth", "Name?", "é",
                                        [this](const auto& text) { answers += " " + text.value_or("-"); }));
        Desk::seeKeyboardIn("Name?");
        Desk::press(keys);
        Desk::seeKeyboardIn("Note");
    }
    EXPECT_EQ(answers, "first first -second no new -");
    for (const std::string how : {"printed", "closed", "behind"}) {
        const auto job = std::make_shared<Job>();
        handles.push_back(panels.print(job, [this] { answers += " end"; }));
        Desk::until([] { return Desk::find("Print") != nullptr; });
        if (how == "printed")
            gtk_dialog_response(GTK_DIALOG(Desk::find("Print")), GTK_RESPONSE_OK);
        else if (how == "closed")
            gtk_window_close(GTK_WINDOW(Desk::find("Print")));
        panels.setBehind(how == "behind");
        Desk::seeKeyboardIn("Note");
        EXPECT_EQ(job->printed, how == "printed");
    }
    EXPECT_EQ(answers, "first first -second no new - end end end");
}

TEST_F(WindowLayersTest, areLeftWhileTheirWindowIsClosedAlsoWhereAnotherOneHasTheKeyboard) {
    ActivationMonitor monitor(GTK_WINDOW(window.window().gobj()));
    std::string told;
    monitor.onActivated = [&] { told += "+"; };
    monitor.onDeactivated = [&] { told += "-"; };
    NoteScreen note("About", "Its note");
    Gtk::Window other;
    other.set_child(note.box);
    other.present();
    Desk::seeKeyboardIn("Its note");
    EXPECT_EQ(told, "");
    window.window().set_visible(false);
    EXPECT_EQ(told, "-");
    window.present();
    Desk::until([&] { return told == "-+"; });
}

TEST_F(WindowLayersTest, letInputInEveryWindowCountAsUseButNotAPointerAtRest) {
    GtkEventMonitor monitor;
    int uses = 0;
    const auto observed = monitor.observeInput([&] { uses += 1; });
    Desk::movePointer(300, 300);
    EXPECT_GT(std::exchange(uses, 0), 0);
    for (const auto isShown : {false, true}) {
        page.field.set_visible(isShown);
        seeDrawn();
        Desk::movePointer(300, 300);
    }
    EXPECT_EQ(uses, 0) << "what is under the pointer has changed";
    alert("first");
    Desk::press("a");
    EXPECT_GT(uses, 0);
}
