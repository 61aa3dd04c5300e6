#include "Browser.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>

std::unique_ptr<WebEngine> makeEngine(const std::filesystem::path& folder, const Url& origin,
                                      const std::optional<std::filesystem::path>& trusted) {
    gtk_init();
    return loadWebEngine({.data = folder / "data",
                          .cache = folder / "cache",
                          .origin = origin,
                          .trusted = trusted,
                          .acceleration = false});
}

std::set<pid_t> engineProcesses(const std::string& name) {
    std::set<pid_t> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "stat");
        std::string stat;
        std::getline(file, stat);
        pid_t id = 0;
        pid_t group = 0;
        char itsName[16];
        char state = 0;
        if (std::sscanf(stat.c_str(), "%d (%15[^)]) %c %*d %d", &id, itsName, &state, &group) == 4 &&
            itsName == name && state != 'Z' && group == getpgrp())
            found.insert(id);
    }
    return found;
}

void Browser::makeView() {
    view = engine->makeView();
    view->onFinished = [this] { finished += 1; };
    view->decideResponse = [](bool showable) {
        return showable ? NavigationPolicy::allow : NavigationPolicy::download;
    };
    view->onFailed = [this](const LoadFailure& failure) {
        if (!failure.cancelled)
            failed.push_back(failure.url);
    };
    const auto count = +[](GtkWidget*, int, int* terminations) { *terminations += 1; };
    g_signal_connect(gtk_overlay_get_child(GTK_OVERLAY(view->widget())), "web-process-terminated",
                     G_CALLBACK(count), &terminated);
    gtk_window_set_child(GTK_WINDOW(window.get()), view->widget());
    gtk_window_present(GTK_WINDOW(window.get()));
    gtk_widget_child_focus(view->widget(), GTK_DIR_TAB_FORWARD);
}

bool Browser::follow(const std::function<void()>& lead, const std::source_location& where) {
    const auto before = finished;
    const auto failures = failed.size();
    lead();
    const auto seen = [&] { return "failed so far: " + Json(failed).dump(); };
    MainLoop::runUntil([&] { return finished > before || failed.size() > failures; }, seen, where);
    return finished > before;
}

Json Browser::ask(const std::string& body, const std::source_location& where) const {
    return MainLoop::finish(view->evaluateForResult(body), where).value_or(nullptr);
}

const std::filesystem::path& WebKitTest::certificate() {
    static const auto file = newCertificate("DNS:localhost,IP:127.0.0.1");
    return file;
}
