#pragma once

#include "platform/linux/GPtr.h"
#include "web/linux/WebEngine.h"
#include "web/linux/WebKitDataStore.h"
#include "web/linux/WebKitDownload.h"
#include "web/linux/WebKitTrust.h"
#include "web/linux/WebKitView.h"

#include <webkit/webkit.h>

#include <memory>

/// The engine over WebKitGTK: a network session with folders of its own. The web processes stay in the
/// engine's sandbox.
class WebKitEngine : public WebEngine {
public:
    /// Throws Error when a folder cannot be made or the trusted file cannot be used.
    explicit WebKitEngine(const Options& options);

    WebDataStore& dataStore() override { return store_; }
    std::unique_ptr<GtkWebView> makeView() override;
    void prepare() override;

private:
    std::unique_ptr<WebKitView> newView() const;
    void received(WebKitWebView* from, const std::shared_ptr<Download>& download);

    bool acceleration_;
    GPtr<WebKitNetworkSession> session_;
    std::shared_ptr<WebKitTrust> trust_;
    std::shared_ptr<WebKitViews> views_;
    WebKitDataStore store_;
    WebKitDownloads downloads_;
    std::unique_ptr<WebKitView> prepared_; ///< the next view, made ahead of its use
};
