#include "application/linux/GtkPanels.h"
#include "application/linux/WindowTest.h"

#include <fstream>

namespace {

class PanelsTest : public WindowTest {
protected:
    std::unique_ptr<GtkPanels> panels = std::make_unique<GtkPanels>(window.window());
    std::vector<Panels::Handle> handles;
    std::vector<std::string> answers;

    /// Lets go of everything, as a page does that goes away over its own question.
    void answer(const std::string& text) {
        answers.push_back(text);
        panels = std::make_unique<GtkPanels>(window.window());
        handles.clear();
    }
    void alert(const std::string& title, const std::string& text = "text") {
        handles.push_back(panels->alert(title, text, [this] { answer("closed"); }));
        Desk::seeKeyboardIn("OK");
    }
    void confirm() {
        handles.push_back(panels->confirm("question", "?", [this](bool ok) { answer(ok ? "ok" : "no"); }));
        Desk::seeKeyboardIn("OK");
    }
    void chooseFiles(const Panels::FileChoice& choice) {
        handles.push_back(panels->chooseFiles(
            choice, [this](const auto& paths) { answer(paths.empty() ? "none" : paths.front().string()); }));
    }
    std::string takeAnswer() {
        Desk::until([this] { return !answers.empty() && Desk::keyboard() == "Note"; });
        EXPECT_EQ(answers.size(), 1U);
        return std::exchange(answers, {}).front();
    }
    static std::string titles() {
        std::string found;
        for (const auto* title : {"first", "second", "third", "fourth", "Choose a file"})
            found += Desk::shows(title) ? std::string(title) + " " : "";
        return found;
    }
};

} // namespace

TEST_F(PanelsTest, areLeftOnceByEveryWayOutThatThereIs) {
    for (const auto* key : {"Return", "space", "Escape"}) {
        alert("The download did not finish", "Not <b>Found</b> & _gone_");
        EXPECT_TRUE(Desk::shows("The download did not finish") && Desk::shows("Not <b>Found</b> & _gone_"));
        EXPECT_FALSE(Desk::shows("Cancel"));
        Desk::press(key);
        EXPECT_EQ(takeAnswer(), "closed") << key;
    }
    for (const auto& [keys, expected] :
         {std::pair("Return", "ok"), {"Escape", "no"}, {"Tab Return", "no"}, {"Left space", "no"}}) {
        confirm();
        Desk::press(keys);
        EXPECT_EQ(takeAnswer(), expected) << keys;
    }
    confirm();
    gtk_window_close(GTK_WINDOW(Desk::find("question")));
    EXPECT_EQ(takeAnswer(), "no");
    confirm();
    const auto ok = GPtr<GtkWidget>::share(Desk::find("OK"));
    for (int press = 0; press < 2; ++press)
        g_signal_emit_by_name(ok.get(), "clicked");
    EXPECT_EQ(takeAnswer(), "ok");
}

TEST_F(PanelsTest, fitTheSmallestWindowWithAnyTextAndScrollIt) {
    constexpr auto million = 1'000'000;
    for (const auto& text : {std::string(million, 'x'), std::string(million, '\n')}) {
        alert("huge", text);
        auto* const panel = Desk::find("huge");
        Desk::seeDrawn(panel);
        EXPECT_LT(gtk_widget_get_width(panel), WindowFrame::minimum.width);
        EXPECT_LT(gtk_widget_get_height(panel), WindowFrame::minimum.height);
        auto* const label = Desk::find(text.substr(0, 10'000) + "…");
        ASSERT_TRUE(label);
        auto* const position = gtk_scrolled_window_get_vadjustment(
            GTK_SCROLLED_WINDOW(gtk_widget_get_ancestor(label, GTK_TYPE_SCROLLED_WINDOW)));
        Desk::press("Next");
        EXPECT_GT(gtk_adjustment_get_value(position), 0);
        Desk::press("Prior");
        EXPECT_EQ(gtk_adjustment_get_value(position), 0);
        Desk::press("Return");
        EXPECT_EQ(takeAnswer(), "closed");
    }
}

TEST_F(PanelsTest, stackGoWithTheWindowAndAreLetGoWithoutAnAnswer) {
    for (const auto* title : {"first", "second", "third"})
        alert(title);
    handles.erase(handles.begin());
    EXPECT_EQ(titles(), "second third ");
    window.window().set_visible(false);
    chooseFiles({});
    EXPECT_EQ(titles(), "");
    window.present();
    EXPECT_EQ(titles(), "second third Choose a file ");
    panels->setBehind(true);
    EXPECT_EQ(titles(), "");
    panels->setBehind(false);
    EXPECT_EQ(titles(), "second third Choose a file ");
    Desk::click("_Cancel");
    EXPECT_EQ(takeAnswer(), "none");
    EXPECT_EQ(titles(), "");
}

TEST_F(PanelsTest, chooseFilesOfTheTypesThatAreWantedByTheirPaths) {
    const auto file = std::string(g_get_tmp_dir()) + "/a b.csv";
    std::ofstream(file) << "x";
    chooseFiles({true, false, {"text/csv"}});
    Desk::until([] { return !Desk::keyboard().empty() && Desk::keyboard() != "Note"; });
    EXPECT_TRUE(Desk::shows("Choose files") && Desk::shows("Suitable files"));
    Desk::press("<Control>l");
    Desk::type(file);
    Desk::press("Return");
    EXPECT_EQ(takeAnswer(), file);
}
