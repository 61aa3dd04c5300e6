#include "application/linux/GtkPanels.h"
#include "application/linux/WindowTest.h"
#include "lock/linux/GtkEventMonitor.h"

#include <gtkmm/menubutton.h>
#include <gtkmm/popover.h>

namespace {

class WindowLayersTest : public WindowTest {
protected:
    NoteScreen lock{"Locked", "Passcode"};
    GtkPanels panels{window.window()};
    int closed = 0;
    Panels::Handle panel;

    void SetUp() override {
        WindowTest::SetUp();
        menu_.set_label("Menu");
        popover_.set_child(*Gtk::make_managed<Gtk::Label>("Item"));
        menu_.set_popover(popover_);
        page.box.append(menu_);
    }
    void alert() {
        panel = panels.alert("page", "From the page", [this] { closed += 1; });
        Desk::seeKeyboardIn("OK");
    }
    void seeLock() {
        window.showOverlay(lock);
        Desk::seeKeyboardIn("Passcode");
    }
    /// Which parts of the page, and of what belongs to it, can be found.
    static std::string ofThePage() {
        std::string found;
        for (const auto* name :
             {"Page", "Note", "Menu", "Item", "page", "From the page", "OK", "Settings", "Choose a file"})
            found += Desk::shows(name) ? std::string(name) + " " : "";
        return found;
    }

private:
    Gtk::Popover popover_;
    Gtk::MenuButton menu_;
};

} // namespace

TEST_F(WindowLayersTest, keepEverybodyFromThePageUnderTheOverlayAndGiveItBackAsItWas) {
    Desk::type("Plan");
    seeLock();
    // Neither keys, however they walk, nor a click where the page was reach it.
    Desk::press("Tab Tab <Shift>Tab Up F10 Escape <Alt>Down");
    Desk::click("Passcode");
    Desk::type("1234");
    EXPECT_EQ(Desk::textIn("Passcode") + ofThePage(), "1234");
    window.removeOverlay();
    Desk::seeKeyboardIn("Note");
    EXPECT_FALSE(Desk::shows("Passcode") || Desk::shows("Locked"));
    Desk::type(" B");
    EXPECT_EQ(Desk::textIn("Note"), "Plan B");
    Desk::press("Tab space");
    Desk::see("Item");
    seeLock();
    EXPECT_EQ(ofThePage(), "");
    NoteScreen other("Another page", "Its note");
    window.setContent(other);
    EXPECT_FALSE(Desk::shows("Another page"));
    EXPECT_EQ(Desk::keyboard(), "Passcode");
    window.removeOverlay();
    Desk::seeKeyboardIn("Its note");
    window.removeContent();
}

TEST_F(WindowLayersTest, takeOtherWindowsFromTheScreenUntilTheOverlayGoes) {
    alert();
    const auto files = panels.chooseFiles({}, [](const auto&) {});
    NoteScreen settings("Settings", "Minutes");
    window.presentSheet(settings);
    Desk::seeKeyboardIn("Minutes");
    seeLock();
    EXPECT_EQ(ofThePage(), "");
    // One that comes meanwhile waits too, but not one that has nothing to do with the page.
    panel = panels.alert("page", "From the page", [] {});
    Gtk::Window about;
    about.set_title("About");
    WindowLayers::exempt(about);
    about.present();
    Desk::seeKeyboardIn("About");
    EXPECT_EQ(ofThePage(), "");
    window.dismissSheet();
    window.removeOverlay();
    Desk::see("OK");
    Desk::see("Choose a file");
    EXPECT_EQ(ofThePage(), "Page Note Menu page From the page OK Choose a file ");
}

TEST_F(WindowLayersTest, coverPageOverlayAndPanelsWithNothingButTheName) {
    alert();
    for (int round = 0; round < 2; ++round) {
        window.cover();
        EXPECT_EQ(ofThePage(), "page ") << "the window stays, blank";
        EXPECT_TRUE(Desk::shows("bris"));
        Desk::press("Return Escape space");
        window.uncover();
        Desk::seeKeyboardIn("OK");
        EXPECT_EQ(closed, 0);
    }
    Desk::press("Return");
    Desk::seeKeyboardIn("Note");
    EXPECT_EQ(closed, 1);
    window.cover();
    window.showOverlay(lock);
    EXPECT_EQ(ofThePage() + (Desk::shows("Passcode") ? "Passcode" : ""), "");
    Desk::type("1234");
    window.uncover();
    Desk::seeKeyboardIn("Passcode");
    window.removeOverlay();
    Desk::seeKeyboardIn("Note");
    EXPECT_EQ(lock.field.get_text() + page.field.get_text(), "");
}

TEST_F(WindowLayersTest, tellWhenAChangeIsOnTheScreenWhileTheyAreShown) {
    for (const auto shown : {true, false}) {
        auto drawn = false;
        window.window().set_visible(shown);
        window.showOverlay(lock);
        window.whenDrawn([&] { drawn = true; });
        EXPECT_EQ(drawn, !shown);
        Desk::until([&] { return drawn; });
    }
}

TEST_F(WindowLayersTest, letEveryInputInEveryWindowCountAsUseButNotAPointerAtRest) {
    GtkEventMonitor monitor;
    int uses = 0;
    const auto observed = monitor.observeInput([&] { uses += 1; });
    alert();
    Desk::click("Note");
    uses = 0;
    for (const auto shown : {false, true}) {
        page.field.set_visible(shown);
        Desk::seeDrawn(page.widget());
    }
    EXPECT_EQ(uses, 0) << "what is under the pointer has changed";
    for (const auto& use :
         {std::function([] { Desk::press("a"); }), std::function([] { Desk::click("From the page", 3); }),
          std::function([] { Desk::click("From the page", 4); }),
          std::function([] { Desk::movePointer(9, 9); })}) {
        uses = 0;
        use();
        Desk::until([&] { return uses > 0; });
    }
}
