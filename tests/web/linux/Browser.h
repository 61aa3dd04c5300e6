#pragma once

#include "EngineFolder.h"
#include "linux/MainLoop.h"
#include "platform/linux/GPtr.h"
#include "web/linux/WebEngine.h"

#include <gtk/gtk.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

/// A view in a window, what it has reported, and the engine behind it.
class Browser {
public:
    static constexpr std::chrono::seconds patience{60};

    Browser(const Url& origin, const std::string& pem) {
        const auto folder = newEngineFolder();
        WebEngine::Options options = {.data = folder / "data",
                                      .cache = folder / "cache",
                                      .origin = origin,
                                      .trusted = std::nullopt,
                                      .acceleration = false};
        if (!pem.empty()) {
            options.trusted = folder / "trusted.pem";
            std::ofstream(*options.trusted) << pem;
        }
        engine_ = loadWebEngine(options);
        gtk_window_set_default_size(GTK_WINDOW(window_.get()), 640, 480);
        makeView();
    }
    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;
    ~Browser() { gtk_window_destroy(GTK_WINDOW(window_.get())); }

    void makeView() {
        view = engine_->makeView();
        view->onFinished = [this] { finished += 1; };
        view->decideResponse = [](bool showable) {
            return showable ? NavigationPolicy::allow : NavigationPolicy::download;
        };
        view->onFailed = [this](const LoadFailure& failure) {
            if (!failure.cancelled)
                failures.emplace_back(failure.error.what());
        };
        gtk_window_set_child(GTK_WINDOW(window_.get()), view->widget());
        gtk_window_present(GTK_WINDOW(window_.get()));
        gtk_widget_child_focus(view->widget(), GTK_DIR_TAB_FORWARD);
    }

    /// Loads the page and waits for what becomes of it: true when it was shown.
    bool shows(const Url& url) {
        const auto before = finished;
        const auto failuresBefore = failures.size();
        view->load(url, patience);
        MainLoop::runUntil([&] { return finished > before || failures.size() > failuresBefore; });
        return finished > before;
    }
    /// What the page answers to the body of an asynchronous function; null for none.
    Json ask(const std::string& body) {
        return MainLoop::finish(view->evaluateForResult(body)).value_or(nullptr);
    }
    WebDataStore& store() { return engine_->dataStore(); }
    WebEngine& engine() { return *engine_; }

private:
    GPtr<GtkWidget> window_ = GPtr<GtkWidget>::share(gtk_window_new());
    std::unique_ptr<WebEngine> engine_;

public:
    std::unique_ptr<GtkWebView> view;
    int finished = 0;
    std::vector<std::string> failures;
};
