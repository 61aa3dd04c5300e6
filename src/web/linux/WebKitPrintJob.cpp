#include "web/linux/WebKitPrintJob.h"

#include <utility>

std::shared_ptr<WebKitPrintJob> WebKitPrintJob::make(WebKitPrintOperation* operation) {
    return std::shared_ptr<WebKitPrintJob>(new WebKitPrintJob(operation));
}

WebKitPrintJob::WebKitPrintJob(WebKitPrintOperation* operation)
    : operation_(GPtr<WebKitPrintOperation>::share(operation)) {}

void WebKitPrintJob::print(GtkPrintSettings* settings, GtkPageSetup* setup) {
    const auto failed = +[](WebKitPrintOperation*, const GError* error, gpointer self) {
        if (const auto tell = static_cast<WebKitPrintJob*>(self)->onFailed)
            tell(Error(error->message, error->code));
    };
    failed_ = SignalConnection(operation_.get(),
                               g_signal_connect(operation_.get(), "failed", G_CALLBACK(failed), this));
    const auto finished = +[](WebKitPrintOperation*, gpointer self) {
        const auto last = std::exchange(static_cast<WebKitPrintJob*>(self)->printing_, nullptr);
    };
    finished_ = SignalConnection(operation_.get(),
                                 g_signal_connect(operation_.get(), "finished", G_CALLBACK(finished), this));
    printing_ = shared_from_this();
    webkit_print_operation_set_print_settings(operation_.get(), settings);
    webkit_print_operation_set_page_setup(operation_.get(), setup);
    webkit_print_operation_print(operation_.get());
}
