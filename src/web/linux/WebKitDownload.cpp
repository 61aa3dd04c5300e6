#include "web/linux/WebKitDownload.h"

#include <algorithm>

WebKitDownloadAdapter::WebKitDownloadAdapter(WebKitDownload* download)
    : download_(GPtr<WebKitDownload>::share(download)) {
    using Self = WebKitDownloadAdapter*;
    connect("decide-destination", G_CALLBACK(+[](WebKitDownload*, const char* name, Self self) -> gboolean {
                return self->choose(name);
            }));
    connect("notify::estimated-progress",
            G_CALLBACK(+[](WebKitDownload*, GParamSpec*, Self self) { self->progressed(); }));
    connect("failed",
            G_CALLBACK(+[](WebKitDownload*, const GError* error, Self self) { self->failed(error); }));
    connect("finished", G_CALLBACK(+[](WebKitDownload*, Self self) { self->end(End::finished); }));
}

void WebKitDownloadAdapter::connect(const char* signal, GCallback handler) {
    connections_.emplace_back(download_.get(), g_signal_connect(download_.get(), signal, handler, this));
}

void WebKitDownloadAdapter::cancel() {
    if (!ended_)
        webkit_download_cancel(download_.get());
}

bool WebKitDownloadAdapter::choose(const char* suggestedName) {
    const auto destination =
        decideDestination ? decideDestination(suggestedName ? suggestedName : "") : std::nullopt;
    if (destination)
        webkit_download_set_destination(download_.get(), destination->c_str());
    else
        cancel();
    return true;
}

void WebKitDownloadAdapter::progressed() {
    // Without a length the engine has no estimate.
    if (auto* const response = webkit_download_get_response(download_.get());
        !onProgress || !response || webkit_uri_response_get_content_length(response) == 0)
        return;
    onProgress(webkit_download_get_estimated_progress(download_.get()));
}

void WebKitDownloadAdapter::failed(const GError* error) {
    if (g_error_matches(error, WEBKIT_DOWNLOAD_ERROR, WEBKIT_DOWNLOAD_ERROR_CANCELLED_BY_USER))
        end(End::cancelled);
    else
        end(End::failed, Error(error->message, error->code));
}

void WebKitDownloadAdapter::end(End how, const Error& error) {
    // A failure is followed by "finished" as well.
    if (std::exchange(ended_, true))
        return;
    // The callbacks may let this object go.
    const auto ended = onEnded;
    if (const auto tell = onFinished; how == End::finished && tell)
        tell();
    else if (const auto tellFailure = onFailed; how == End::failed && tellFailure)
        tellFailure(error);
    else if (const auto tellCancelled = onCancelled; how == End::cancelled && tellCancelled)
        tellCancelled();
    if (ended)
        ended();
}

WebKitDownloads::WebKitDownloads(WebKitNetworkSession* session, Receiver receive)
    : receive_(std::move(receive)) {
    const auto started = +[](WebKitNetworkSession*, WebKitDownload* download, WebKitDownloads* self) {
        self->started(download);
    };
    connection_ =
        SignalConnection(session, g_signal_connect(session, "download-started", G_CALLBACK(started), this));
}

WebKitDownloads::~WebKitDownloads() {
    for (const auto& download : std::exchange(underWay_, {})) {
        download->onEnded = nullptr;
        download->cancel();
    }
}

void WebKitDownloads::started(WebKitDownload* download) {
    const auto adapter = std::make_shared<WebKitDownloadAdapter>(download);
    underWay_.push_back(adapter);
    adapter->onEnded = [this, ended = adapter.get()] {
        std::erase_if(underWay_, [ended](const auto& other) { return other.get() == ended; });
    };
    receive_(adapter->view(), adapter);
}
