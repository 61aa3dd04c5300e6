#pragma once

#include "platform/WebView.h"
#include "platform/linux/GPtr.h"

#include <webkit/webkit.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// The scripts that a view's pages are given, and what those post back.
class WebKitMessages {
public:
    WebKitMessages();
    ~WebKitMessages();

    /// What the view is to be made with.
    WebKitUserContentManager* manager() const { return manager_.get(); }

    void addUserScript(const UserScript& script);
    void addHandler(const std::string& name, std::function<void(const Json&)> handler);
    void addReplyingHandler(const std::string& name, std::function<Task<Json>(Json)> handler);

private:
    struct Handler;

    void connect(const char* signal, const std::string& name, GCallback receive,
                 std::unique_ptr<Handler> handler);

    GPtr<WebKitUserContentManager> manager_;
    std::vector<std::unique_ptr<Handler>> handlers_;
    std::vector<SignalConnection> connections_;
};
