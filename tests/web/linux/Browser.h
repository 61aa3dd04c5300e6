#pragma once

#include "PageServer.h"
#include "linux/MainLoop.h"
#include "web/linux/WebEngine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <unistd.h>

#include <fstream>
#include <set>

inline constexpr std::chrono::seconds patience{60};
/// The kernel keeps 15 characters of a name.
inline constexpr auto pageProcess = "WebKitWebProces";
inline constexpr auto networkProcess = "WebKitNetworkPr";

/// The engine over files in that folder, trusting that certificate for that origin.
inline std::unique_ptr<WebEngine> makeEngine(const std::filesystem::path& folder, const Url& origin,
                                             const std::optional<std::filesystem::path>& trusted = {}) {
    gtk_init();
    return loadWebEngine({folder / "data", folder / "cache", origin, trusted, false});
}

/// The living processes of that name that the engine has started from this one.
inline std::set<pid_t> engineProcesses(const std::string& name) {
    std::set<pid_t> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "stat");
        pid_t id = 0, parent = 0, group = 0;
        std::string itsName;
        char state = 0;
        if (file >> id >> itsName >> state >> parent >> group && itsName == "(" + name + ")" &&
            state != 'Z' && group == getpgrp())
            found.insert(id);
    }
    return found;
}

/// A view in a window, what it has reported, and the engine behind it.
class Browser {
public:
    using Where = std::source_location;

    Browser(const Url& origin, const std::optional<std::filesystem::path>& trusted)
        : engine(makeEngine(newFolder(), origin, trusted)) {
        makeView();
    }
    ~Browser() { gtk_window_destroy(GTK_WINDOW(window.get())); }

    void makeView() {
        view = engine->makeView();
        view->onFinished = [this] { finished += 1; };
        view->decideResponse = [](bool showable) {
            return showable ? NavigationPolicy::allow : NavigationPolicy::download;
        };
        view->onFailed = [this](const LoadFailure& failure) {
            if (!failure.cancelled)
                failed.push_back(failure.url + ": " + failure.error.what());
        };
        const auto count = +[](GtkWidget*, int, int* terminations) { *terminations += 1; };
        g_signal_connect(gtk_overlay_get_child(GTK_OVERLAY(view->widget())), "web-process-terminated",
                         G_CALLBACK(count), &terminated);
        gtk_window_set_child(GTK_WINDOW(window.get()), view->widget());
        gtk_window_present(GTK_WINDOW(window.get()));
        gtk_widget_child_focus(view->widget(), GTK_DIR_TAB_FORWARD);
    }
    /// Does what leads to a page, and waits for what becomes of it: true when it was shown.
    bool follow(const std::function<void()>& lead, const Where& where = Where::current()) {
        const auto before = finished;
        const auto failures = failed.size();
        lead();
        const auto seen = [&] { return "failed so far: " + Json(failed).dump(); };
        MainLoop::runUntil([&] { return finished > before || failed.size() > failures; }, seen, where);
        return finished > before;
    }
    bool shows(const Url& url, const Where& where = Where::current()) {
        return follow([&] { view->load(url, patience); }, where);
    }
    /// What the page answers to the body of an asynchronous function; null for none.
    Json ask(const std::string& body, const Where& where = Where::current()) const {
        return MainLoop::finish(view->evaluateForResult(body), where).value_or(nullptr);
    }
    WebDataStore& store() const { return engine->dataStore(); }

    std::unique_ptr<WebEngine> engine;
    GPtr<GtkWidget> window = GPtr<GtkWidget>::share(gtk_window_new());
    std::unique_ptr<GtkWebView> view;
    int finished = 0;
    int terminated = 0;              ///< web processes of views, for whatever reason
    std::vector<std::string> failed; ///< the addresses that could not be loaded, and why
};

/// A view beside the server that it trusts.
class WebKitTest : public testing::Test {
protected:
    WebKitTest() { server.pages["/silent"] = {.status = 0}; }

    static const std::filesystem::path& certificate() {
        static const auto file = newCertificate("DNS:localhost,IP:127.0.0.1");
        return file;
    }
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
