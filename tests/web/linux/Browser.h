#pragma once

#include "PageServer.h"
#include "linux/MainLoop.h"
#include "web/linux/WebEngine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <sys/types.h>

#include <set>

inline constexpr std::chrono::seconds patience{60};
/// The kernel keeps 15 characters of a name.
inline constexpr auto pageProcess = "WebKitWebProces";
inline constexpr auto networkProcess = "WebKitNetworkPr";

/// The engine over files in that folder, trusting that certificate for that origin.
std::unique_ptr<WebEngine> makeEngine(const std::filesystem::path& folder, const Url& origin,
                                      const std::optional<std::filesystem::path>& trusted = std::nullopt);

/// The living processes of that name that the engine has started from this one.
std::set<pid_t> engineProcesses(const std::string& name);

/// A view in a window, what it has reported, and the engine behind it.
class Browser {
public:
    Browser(const Url& origin, const std::optional<std::filesystem::path>& trusted)
        : engine(makeEngine(newFolder(), origin, trusted)) {
        makeView();
    }
    ~Browser() { gtk_window_destroy(GTK_WINDOW(window.get())); }

    void makeView();
    /// Does what leads to a page, and waits for what becomes of it: true when it was shown.
    bool follow(const std::function<void()>& lead,
                const std::source_location& where = std::source_location::current());
    bool shows(const Url& url, const std::source_location& where = std::source_location::current()) {
        return follow([&] { view->load(url, patience); }, where);
    }
    /// What the page answers to the body of an asynchronous function; null for none.
    Json ask(const std::string& body,
             const std::source_location& where = std::source_location::current()) const;
    WebDataStore& store() const { return engine->dataStore(); }

    std::unique_ptr<WebEngine> engine;
    GPtr<GtkWidget> window = GPtr<GtkWidget>::share(gtk_window_new());
    std::unique_ptr<GtkWebView> view;
    int finished = 0;
    int terminated = 0;              ///< web processes of views, for whatever reason
    std::vector<std::string> failed; ///< the addresses that could not be loaded
};

/// A view beside the server that it trusts.
class WebKitTest : public testing::Test {
protected:
    WebKitTest() { server.pages["/silent"] = {.status = 0}; }

    static const std::filesystem::path& certificate();
    /// Begins to load what never comes.
    void loadInVain() {
        server.requests.clear();
        browser.view->load(server.url("/silent"), patience);
        MainLoop::runUntil([&] { return server.wasAsked("/silent"); });
    }

    /// The processes that show the pages of this test. Those of earlier ones may still be ending.
    std::set<pid_t> ownPages() const {
        auto processes = engineProcesses(pageProcess);
        std::erase_if(processes, [this](pid_t process) { return others_.contains(process); });
        return processes;
    }

    const std::set<pid_t> others_ = engineProcesses(pageProcess);
    PageServer server{certificate()};
    Browser browser{server.url(), certificate()};
};
