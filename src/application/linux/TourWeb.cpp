#include "application/linux/TourWeb.h"

#include "application/WindowFrame.h"
#include "application/linux/Program.h"
#include "application/linux/WindowStack.h"
#include "web/linux/WebEngine.h"

namespace {

/// Where nobody listens.
constexpr auto unreachable = "https://127.0.0.1:1027/";

} // namespace

Task<> TourWeb::run() {
    co_await views();
    co_await dialogs();
    co_await questions();
    co_await menus();
    co_await sizes();
    co_await offline();
    co_await themes();
}

Task<> TourWeb::views() {
    co_await guide_.untilInPage("the task list", "document.querySelector('.task') !== null");
    co_await guide_.picture("tasks");
    co_await guide_.clickInPage(R"([data-key="scope-list:Inbox"])");
    co_await guide_.picture("list-empty");
    co_await guide_.clickInPage(R"([data-key="scope-all"])");
    co_await guide_.pressInPage("v", true);
    co_await guide_.untilInPage("the kanban", "document.querySelector('.board .card') !== null");
    co_await guide_.picture("kanban");
}

Task<> TourWeb::dialogs() {
    const std::pair<const char*, const char*> keys[] = {
        {"n", "new-task"}, {"k", "search-all-tasks"}, {",", "settings"}};
    for (const auto& [key, name] : keys) {
        co_await openDialog(key, name);
        co_await guide_.picture(name);
        if (std::string(name) == "settings") {
            co_await guide_.untilInPage("the end of the settings",
                                        "((body) => (body.scrollTop = body.scrollHeight, body.scrollTop > 0))"
                                        "(document.querySelector('.settings .dialog-body'))");
            co_await guide_.picture("settings-end");
        }
        co_await closeDialog();
    }
}

Task<> TourWeb::questions() {
    co_await guide_.pressInPage("v", true);
    co_await guide_.untilInPage("the button", "document.querySelector('.remove-done') !== null");
    co_await panel("document.querySelector('.remove-done').click()", "page-confirm");
    co_await panel("alert('“notes.csv” has no column “Title” in its first line.')", "page-alert");
}

Task<> TourWeb::panel(std::string script, std::string name) {
    auto& main = guide_.program().mainWindow().window();
    guide_.page().evaluate(script);
    co_await guide_.until("the panel", [&main] {
        auto& front = WindowStack::front(main);
        return &front != &main && front.get_mapped();
    });
    co_await guide_.picture(name, WindowStack::front(main));
    WindowStack::front(main).close();
    co_await guide_.until("the page alone", [&main] { return &WindowStack::front(main) == &main; });
}

Task<> TourWeb::menus() {
    auto& program = guide_.program();
    const auto& menus = program.delegate().menus().menus();
    for (std::size_t i = 0; i < menus.size(); ++i) {
        program.menuBar().openMenu(i);
        co_await guide_.picture("menu-" + menus[i].title);
        program.menuBar().closeMenus();
    }
    program.delegate().perform(MenuCommand::showAbout);
    co_await guide_.until("the about panel", [&program] {
        return program.aboutWindow().window() && program.aboutWindow().window()->get_mapped();
    });
    co_await guide_.picture("about", *program.aboutWindow().window());
    program.aboutWindow().window()->close();
}

Task<> TourWeb::sizes() {
    auto& main = guide_.program().mainWindow();
    const auto size = main.frame();
    main.window().fullscreen();
    co_await guide_.until("the full screen", [&main] { return main.window().is_fullscreen(); });
    co_await guide_.picture("full-screen");
    main.window().unfullscreen();
    co_await guide_.until("the window", [&main] { return !main.window().is_fullscreen(); });

    main.setFrame(WindowFrame::minimum);
    co_await guide_.picture("tasks-minimum-size");
    co_await openDialog(",", "settings");
    co_await guide_.picture("settings-minimum-size");
    co_await closeDialog();
    main.setFrame(size);
}

Task<> TourWeb::offline() {
    guide_.page().load(*Url::parse(unreachable), WebShell::loadTimeout);
    co_await guide_.untilInPage("the offline page", "document.body.innerText.includes('cannot be reached')");
    co_await guide_.picture("offline");
    co_await guide_.clickInPage("a");
    co_await guide_.untilInPage("the task list", "document.querySelector('.task') !== null");
}

Task<> TourWeb::themes() {
    for (const auto* theme : {"sand", "pine", "dusk", "light"}) {
        co_await openDialog(",", "settings");
        co_await chooseTheme(theme);
        co_await closeDialog();
        co_await guide_.picture(std::string("tasks-") + theme);
    }
    co_await openDialog(",", "settings");
    co_await guide_.picture("settings-light");
}

Task<> TourWeb::chooseTheme(std::string name) {
    co_await guide_.clickInPage(".theme[data-theme=" + name + "] input");
    co_await guide_.untilInPage("the theme", "document.documentElement.dataset.theme === '" + name + "'");
}

Task<> TourWeb::openDialog(const char* key, std::string name) {
    co_await guide_.pressInPage(key, false);
    co_await guide_.untilInPage(name, "document.querySelector('dialog[open]') !== null");
}

Task<> TourWeb::closeDialog() {
    co_await guide_.untilInPage("a closed dialog", "(document.querySelector('dialog[open]')?.close(), "
                                                   "document.querySelector('dialog[open]') === null)");
}
