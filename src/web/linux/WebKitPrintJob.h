#pragma once

#include "platform/linux/GPtr.h"
#include "web/linux/WebEngine.h"

#include <webkit/webkit.h>

#include <memory>

/// A page's wish to be printed, over the engine's print operation. It lasts until what it prints has been
/// printed, also when whoever asked lets go of it.
class WebKitPrintJob : public PagePrintJob, public std::enable_shared_from_this<WebKitPrintJob> {
public:
    static std::shared_ptr<WebKitPrintJob> make(WebKitPrintOperation* operation);

    void print(GtkPrintSettings* settings, GtkPageSetup* setup) override;

private:
    explicit WebKitPrintJob(WebKitPrintOperation* operation);

    GPtr<WebKitPrintOperation> operation_;
    SignalConnection failed_;
    SignalConnection finished_;
    std::shared_ptr<WebKitPrintJob> printing_; ///< this, while it prints
};
