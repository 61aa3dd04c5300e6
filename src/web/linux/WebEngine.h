#pragma once

#include "platform/Error.h"
#include "platform/Json.h"
#include "platform/Task.h"
#include "platform/Url.h"
#include "platform/WebDataStore.h"
#include "platform/WebView.h"
#include "platform/linux/WidgetScreen.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

/// What a menu's editing items do.
enum class EditingCommand { undo, redo, cut, copy, paste, pasteAsPlainText, selectAll };

/// A page that wants to be printed, for the toolkit's dialog.
class PagePrintJob : public PrintJob {
public:
    /// Prints the page that way. Called once at most.
    virtual void print(GtkPrintSettings* settings, GtkPageSetup* setup) = 0;
};

/// A web view of the Linux desktop: a screen with a widget, and what only this platform's own code asks of
/// it.
///
/// Its web process ends with it. It may be destroyed at any time, also from within one of its callbacks.
class GtkWebView : public WebView, public WidgetScreen {
public:
    /// A page has been loaded completely, also one in place of another that could not be. Not called for a
    /// load that failed or was given up.
    std::function<void()> onFinished;
    /// Runs `body` as the body of an asynchronous function in the page ("return await …") and gives what it
    /// returns. None when it throws, returns nothing that JSON can express, or its page goes away.
    virtual Task<std::optional<Json>> evaluateForResult(std::string body) = 0;
    /// Does it to the selection or the field that has the focus in the page; nothing where it does not apply.
    virtual void execute(EditingCommand command) = 0;
};

/// The embedded web engine: one data store and the views over it, all on the main thread after GTK has been
/// initialised.
///
/// It lives in a module that is loaded on first use, so a program that shows only native screens neither
/// links nor starts it. Its views have to go before it does.
class WebEngine {
public:
    struct Options {
        std::filesystem::path data;  ///< of this origin and profile; made with mode 0700
        std::filesystem::path cache; ///< of this origin and profile; made with mode 0700
        Url origin;
        /// A PEM file with certificates that are trusted for the origin's host and for nothing else.
        std::optional<std::filesystem::path> trusted;
        /// False where there is no GPU: drawing on the processor at once then saves a third of the memory.
        bool acceleration = true;
    };

    virtual ~WebEngine() = default;

    virtual WebDataStore& dataStore() = 0;
    /// A new view, empty until something is loaded into it.
    virtual std::unique_ptr<GtkWebView> makeView() = 0;
    /// Starts the engine's processes ahead of the first view, while the program is busy with something else.
    virtual void prepare() = 0;
};

/// Loads the module (from beside the program, or else from where it is installed) and makes the engine.
/// Throws Error when the module cannot be loaded, a folder cannot be made, or the trusted file cannot be
/// used.
std::unique_ptr<WebEngine> loadWebEngine(const WebEngine::Options& options);
