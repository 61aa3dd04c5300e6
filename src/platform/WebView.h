#pragma once

#include "platform/Color.h"
#include "platform/Url.h"
#include "platform/Window.h"

#include <chrono>
#include <functional>
#include <string>

/// A navigation that the page or a person asks for, before anything is sent.
struct NavigationAction {
    std::string url;               ///< empty when the request has none
    bool performsDownload = false; ///< the link asks to be saved
};

enum class NavigationPolicy { allow, cancel, download };

/// The embedded web engine's view, empty until something is loaded into it.
class WebView : public Screen {
public:
    /// Asked for every navigation of every frame. Allowed when unset.
    std::function<NavigationPolicy(const NavigationAction&)> decidePolicy;
    /// A page asked for a window of its own (a link's target, a script); none is ever made. The URL may be
    /// empty.
    std::function<void(const std::string& url)> onNewWindow;

    /// Loads the URL in the main frame, superseding what is loading.
    virtual void load(const Url& url) = 0;
    /// Runs the script in the page; its result and its errors are dropped.
    virtual void evaluate(const std::string& script) = 0;
    /// What shows beneath the page, and while there is none.
    virtual void setUnderPageBackground(Color color) = 0;
};
