#pragma once

#include "platform/WebView.h"
#include "platform/linux/GPtr.h"

#include <webkit/webkit.h>

#include <functional>
#include <memory>
#include <vector>

/// What the pages of one view ask of the person: alerts, confirms and prompts, which hold the page's process
/// until they are answered, the choice of files, and how to print, once at a time. Leaving a page is never
/// held up by its own wish, and permissions are refused.
///
/// A page that is being left is answered by itself, as if every panel had been cancelled.
class WebKitPanels {
public:
    /// The callbacks of `asked` show the panels. Both outlive this.
    WebKitPanels(WebKitWebView* view, const WebView& asked);
    ~WebKitPanels();

    /// A page that is being left goes on asking, as it would in a loop that it never leaves: it has to be
    /// ended.
    std::function<void()> onHeldUp;

    /// An alert, a confirm or a prompt is open.
    bool holdPage() const;
    /// Answers and closes what is open, and what the page asks until `arrived`.
    void leave();
    /// Another page is there, or the present one stays after all.
    void arrived();
    /// Answers and closes what is open: its page has gone.
    void dismiss();

private:
    /// A panel that is open, and how it is cancelled.
    struct Pending {
        bool holdsPage = false;
        bool isPrinting = false;
        Panels::Handle handle;
        std::function<void()> cancel;
    };
    using PendingPtr = std::shared_ptr<Pending>;

    void connect(const char* signal, GCallback handler);
    bool answerDialog(WebKitScriptDialog* dialog);
    bool chooseFiles(WebKitFileChooserRequest* request);
    bool print(WebKitPrintOperation* operation);
    void show(WebKitScriptDialog* dialog);
    Panels::Handle ask(WebKitScriptDialog* dialog,
                       const std::function<void(const std::function<void()>&)>& end);
    PendingPtr add(std::function<void()> cancel);
    void keep(const PendingPtr& pending, Panels::Handle handle);
    /// Takes the panel out of what is open; false when it has been cancelled before.
    static bool take(WebKitPanels* self, const std::weak_ptr<Pending>& pending);

    const WebView& asked_;
    WebKitWebView* const view_;
    std::vector<PendingPtr> pending_;
    bool leaving_ = false;
    int answeredWhileLeaving_ = 0;
    std::vector<SignalConnection> connections_;
};
