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
    auto first = views();
    co_await std::move(first);
    auto second = dialogs();
    co_await std::move(second);
    auto third = questions();
    co_await std::move(third);
    auto fourth = menus();
    co_await std::move(fourth);
    auto fifth = sizes();
    co_await std::move(fifth);
    auto sixth = offline();
    co_await std::move(sixth);
    auto seventh = themes();
    co_await std::move(seventh);
}

Task<> TourWeb::views() {
    auto list = guide_.untilInPage("the task list", "document.querySelector('.task') !== null");
    co_await std::move(list);
    auto listPicture = guide_.picture("tasks");
    co_await std::move(listPicture);
    auto toInbox = guide_.clickInPage(R"([data-key="scope-list:Inbox"])");
    co_await std::move(toInbox);
    auto emptyPicture = guide_.picture("list-empty");
    co_await std::move(emptyPicture);
    auto toAll = guide_.clickInPage(R"([data-key="scope-all"])");
    co_await std::move(toAll);
    auto toBoard = guide_.pressInPage("v", true);
    co_await std::move(toBoard);
    auto board = guide_.untilInPage("the kanban", "document.querySelector('.board .card') !== null");
    co_await std::move(board);
    auto boardPicture = guide_.picture("kanban");
    co_await std::move(boardPicture);
}

Task<> TourWeb::dialogs() {
    const std::pair<const char*, const char*> keys[] = {
        {"n", "new-task"}, {"k", "search-all-tasks"}, {",", "settings"}};
    for (const auto& [key, name] : keys) {
        auto opening = openDialog(key, name);
        co_await std::move(opening);
        auto shown = guide_.picture(name);
        co_await std::move(shown);
        if (std::string(name) == "settings") {
            auto scrolling =
                guide_.untilInPage("the end of the settings",
                                   "((body) => (body.scrollTop = body.scrollHeight, body.scrollTop > 0))"
                                   "(document.querySelector('.settings .dialog-body'))");
            co_await std::move(scrolling);
            auto data = guide_.picture("settings-end");
            co_await std::move(data);
        }
        auto closing = closeDialog();
        co_await std::move(closing);
    }
}

Task<> TourWeb::questions() {
    auto toList = guide_.pressInPage("v", true);
    co_await std::move(toList);
    auto list = guide_.untilInPage("the button", "document.querySelector('.remove-done') !== null");
    co_await std::move(list);
    auto confirm = panel("document.querySelector('.remove-done').click()", "page-confirm");
    co_await std::move(confirm);
    auto alert = panel("alert('“notes.csv” has no column “Title” in its first line.')", "page-alert");
    co_await std::move(alert);
}

Task<> TourWeb::panel(std::string script, std::string name) {
    auto& main = guide_.program().mainWindow().window();
    guide_.page().evaluate(script);
    auto opening = guide_.until("the panel", [&main] {
        auto& front = WindowStack::front(main);
        return &front != &main && front.get_mapped();
    });
    co_await std::move(opening);
    auto over = guide_.picture(name, WindowStack::front(main));
    co_await std::move(over);
    WindowStack::front(main).close();
    auto closing = guide_.until("the page alone", [&main] { return &WindowStack::front(main) == &main; });
    co_await std::move(closing);
}

Task<> TourWeb::menus() {
    auto& program = guide_.program();
    const auto& menus = program.delegate().menus().menus();
    for (std::size_t i = 0; i < menus.size(); ++i) {
        program.menuBar().openMenu(i);
        auto open = guide_.picture("menu-" + menus[i].title);
        co_await std::move(open);
        program.menuBar().closeMenus();
    }
    program.delegate().perform(MenuCommand::showAbout);
    auto opening = guide_.until("the about panel", [&program] {
        return program.aboutWindow().window() && program.aboutWindow().window()->get_mapped();
    });
    co_await std::move(opening);
    auto about = guide_.picture("about", *program.aboutWindow().window());
    co_await std::move(about);
    program.aboutWindow().window()->close();
}

Task<> TourWeb::sizes() {
    auto& main = guide_.program().mainWindow();
    const auto size = main.frame();
    main.window().fullscreen();
    auto growing = guide_.until("the full screen", [&main] { return main.window().is_fullscreen(); });
    co_await std::move(growing);
    auto full = guide_.picture("full-screen");
    co_await std::move(full);
    main.window().unfullscreen();
    auto shrinking = guide_.until("the window", [&main] { return !main.window().is_fullscreen(); });
    co_await std::move(shrinking);

    main.setFrame(WindowFrame::minimum);
    auto small = guide_.picture("tasks-minimum-size");
    co_await std::move(small);
    auto opening = openDialog(",", "settings");
    co_await std::move(opening);
    auto settings = guide_.picture("settings-minimum-size");
    co_await std::move(settings);
    auto closing = closeDialog();
    co_await std::move(closing);
    main.setFrame(size);
}

Task<> TourWeb::offline() {
    guide_.page().load(*Url::parse(unreachable), WebShell::loadTimeout);
    auto failing =
        guide_.untilInPage("the offline page", "document.body.innerText.includes('cannot be reached')");
    co_await std::move(failing);
    auto offline = guide_.picture("offline");
    co_await std::move(offline);
    auto again = guide_.clickInPage("a");
    co_await std::move(again);
    auto list = guide_.untilInPage("the task list", "document.querySelector('.task') !== null");
    co_await std::move(list);
}

Task<> TourWeb::themes() {
    for (const auto* theme : {"sand", "pine", "dusk", "light"}) {
        auto opening = openDialog(",", "settings");
        co_await std::move(opening);
        auto choosing = chooseTheme(theme);
        co_await std::move(choosing);
        auto closing = closeDialog();
        co_await std::move(closing);
        auto shown = guide_.picture(std::string("tasks-") + theme);
        co_await std::move(shown);
    }
    auto opening = openDialog(",", "settings");
    co_await std::move(opening);
    auto settings = guide_.picture("settings-light");
    co_await std::move(settings);
}

Task<> TourWeb::chooseTheme(std::string name) {
    auto choosing = guide_.clickInPage(".theme[data-theme=" + name + "] input");
    co_await std::move(choosing);
    auto themed =
        guide_.untilInPage("the theme", "document.documentElement.dataset.theme === '" + name + "'");
    co_await std::move(themed);
}

Task<> TourWeb::openDialog(const char* key, std::string name) {
    auto pressing = guide_.pressInPage(key, false);
    co_await std::move(pressing);
    auto opening = guide_.untilInPage(name, "document.querySelector('dialog[open]') !== null");
    co_await std::move(opening);
}

Task<> TourWeb::closeDialog() {
    auto closing = guide_.untilInPage("a closed dialog", "(document.querySelector('dialog[open]')?.close(), "
                                                         "document.querySelector('dialog[open]') === null)");
    co_await std::move(closing);
}
