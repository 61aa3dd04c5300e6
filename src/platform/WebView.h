#pragma once

#include "platform/Color.h"
#include "platform/Download.h"
#include "platform/Error.h"
#include "platform/Json.h"
#include "platform/Panels.h"
#include "platform/Task.h"
#include "platform/Url.h"
#include "platform/Window.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A navigation that the page or a person asks for, before anything is sent.
struct NavigationAction {
    std::string url;               ///< empty when the request has none
    bool performsDownload = false; ///< the link asks to be saved
    bool isUsersGesture = false;   ///< a person's click or key has led to it
};

enum class NavigationPolicy { allow, cancel, download };

/// A load that came to nothing.
struct LoadFailure {
    std::string url; ///< what could not be loaded
    Error error;
    bool cancelled = false; ///< given up or overtaken by another load: nothing went wrong
};

/// A script that runs in the main frame of the pages of one host, in the page's own world. It has to look at
/// the port itself.
struct UserScript {
    enum class Time { documentStart, documentEnd };

    std::string source;
    Time time;
    Url origin; ///< scheme and host count
};

/// The embedded web engine's view, empty until something is loaded into it.
///
/// A callback may end the view. What a page asks of the person comes as a request with a function that
/// answers it; the handle that the callback returns stands for the open panel, and the view lets go of it,
/// and answers the page itself, when the page goes away first.
class WebView : public Screen {
public:
    /// Asked for every navigation of every frame. Allowed when unset.
    std::function<NavigationPolicy(const NavigationAction&)> decidePolicy;
    /// Asked for every response, with whether the engine can show what it brings. What it cannot show is
    /// dropped when unset.
    std::function<NavigationPolicy(bool showable)> decideResponse;
    /// A page asked for a window of its own (a link's target, a script); none is ever made.
    std::function<void(const NavigationAction&)> onNewWindow;
    /// A page has taken the place of what was there, and runs scripts from now on.
    std::function<void()> onArrived;
    /// The main frame could not be loaded. The engine shows nothing of its own; `loadAlternate` may be called
    /// from here.
    std::function<void(const LoadFailure&)> onFailed;
    /// The process of the page has died, and the page with it. `url` is the page's, or the one that was being
    /// loaded.
    std::function<void(const std::string& url)> onProcessEnded;
    /// A navigation or a response has become a download. Cancelled when unset.
    std::function<void(std::shared_ptr<Download>)> onDownload;

    std::function<Panels::Handle(const std::string& message, std::function<void()> closed)> onAlert;
    std::function<Panels::Handle(const std::string& message, std::function<void(bool)> answered)> onConfirm;
    std::function<Panels::Handle(const std::string& message, const std::string& suggestion,
                                 std::function<void(std::optional<std::string>)> answered)>
        onPrompt;
    /// The page goes on meanwhile. Not called again before `closed`.
    std::function<Panels::Handle(std::shared_ptr<PrintJob>, std::function<void()> closed)> onPrint;
    std::function<Panels::Handle(const Panels::FileChoice&,
                                 std::function<void(std::vector<std::filesystem::path>)> chosen)>
        onChooseFiles;

    /// Before the first load; the scripts run in the order in which they were added.
    virtual void addUserScript(const UserScript& script) = 0;
    /// Receives what the page posts to `window.webkit.messageHandlers[name]`; null for what JSON cannot
    /// express.
    virtual void addMessageHandler(const std::string& name, std::function<void(const Json&)> handler) = 0;
    /// Answers what the page posts there: the promise that it gets resolves to the task's result, or rejects
    /// with the message of the Error that the task throws.
    virtual void addReplyingMessageHandler(const std::string& name,
                                           std::function<Task<Json>(Json)> handler) = 0;

    /// Loads the URL in the main frame, superseding what is loading. It has failed when nothing has come back
    /// within `timeout`.
    virtual void load(const Url& url, std::chrono::seconds timeout) = 0;
    /// Loads again what is shown or, after a failure, what could not be.
    virtual void reload() = 0;
    /// Shows `html` in place of a page that could not be loaded: with the rights and the address of `base`
    /// for its links, but as an entry for `failedUrl`, which reloading and going back try again.
    virtual void loadAlternate(const std::string& html, const std::string& failedUrl, const Url& base) = 0;
    /// Runs the script in the page; its result and its errors are dropped.
    virtual void evaluate(const std::string& script) = 0;
    /// The page has asked something and does nothing, runs no script either, before it has the answer.
    virtual bool isWaitingForAnswer() const = 0;
    /// What shows beneath the page, and while there is none.
    virtual void setUnderPageBackground(Color color) = 0;
    /// The magnification of the page; 1 is its actual size.
    virtual double pageZoom() const = 0;
    virtual void setPageZoom(double zoom) = 0;
};
