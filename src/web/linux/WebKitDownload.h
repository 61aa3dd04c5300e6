#pragma once

#include "platform/Download.h"
#include "platform/linux/GPtr.h"

#include <webkit/webkit.h>

#include <functional>
#include <memory>
#include <vector>

/// One download of the engine.
class WebKitDownloadAdapter : public Download {
public:
    explicit WebKitDownloadAdapter(WebKitDownload* download);

    void cancel() override;
    /// Called once, after the callback that tells how it has ended.
    std::function<void()> onEnded;

    WebKitWebView* view() const { return webkit_download_get_web_view(download_.get()); }

private:
    enum class End { finished, failed, cancelled };

    void connect(const char* signal, GCallback handler);
    bool choose(const char* suggestedName);
    void progressed();
    void failed(const GError* error);
    void end(End how, const Error& error = Error(""));

    GPtr<WebKitDownload> download_;
    bool ended_ = false;
    std::vector<SignalConnection> connections_;
};

/// The downloads of a network session that are under way. They end with it.
class WebKitDownloads {
public:
    /// `receive` is given each download as it begins; what it leaves without callbacks is cancelled.
    using Receiver = std::function<void(WebKitWebView* view, const std::shared_ptr<Download>&)>;

    WebKitDownloads(WebKitNetworkSession* session, Receiver receive);
    ~WebKitDownloads();

private:
    void started(WebKitDownload* download);

    Receiver receive_;
    std::vector<std::shared_ptr<WebKitDownloadAdapter>> underWay_;
    SignalConnection connection_;
};
