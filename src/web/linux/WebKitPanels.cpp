#include "web/linux/WebKitPanels.h"

#include "web/linux/WebKitPrintJob.h"

#include <algorithm>

namespace {

/// So often a page that is being left may ask before it is taken to be one that never stops.
constexpr int patience = 3;

struct DialogUnref {
    void operator()(WebKitScriptDialog* dialog) const { webkit_script_dialog_unref(dialog); }
};
using DialogPtr = std::shared_ptr<WebKitScriptDialog>;

DialogPtr share(WebKitScriptDialog* dialog) {
    return DialogPtr(webkit_script_dialog_ref(dialog), DialogUnref());
}

void close(const DialogPtr& dialog) {
    webkit_script_dialog_close(dialog.get());
}

void select(WebKitFileChooserRequest* request, const std::vector<std::filesystem::path>& files) {
    if (files.empty()) {
        webkit_file_chooser_request_cancel(request);
        return;
    }
    std::vector<const char*> names;
    names.reserve(files.size() + 1);
    for (const auto& file : files)
        names.push_back(file.c_str());
    names.push_back(nullptr);
    webkit_file_chooser_request_select_files(request, names.data());
}

} // namespace

WebKitPanels::WebKitPanels(WebKitWebView* view, const WebView& asked) : asked_(asked), view_(view) {
    using Self = WebKitPanels*;
    connect("script-dialog", G_CALLBACK(+[](WebKitWebView*, WebKitScriptDialog* dialog,
                                            Self self) -> gboolean { return self->answerDialog(dialog); }));
    connect("run-file-chooser",
            G_CALLBACK(+[](WebKitWebView*, WebKitFileChooserRequest* request, Self self) -> gboolean {
                return self->chooseFiles(request);
            }));
    connect("print", G_CALLBACK(+[](WebKitWebView*, WebKitPrintOperation* operation, Self self) -> gboolean {
                return self->print(operation);
            }));
    connect("permission-request", G_CALLBACK(+[](WebKitWebView*, WebKitPermissionRequest* request, Self) {
                webkit_permission_request_deny(request);
                return TRUE;
            }));
}

WebKitPanels::~WebKitPanels() {
    connections_.clear();
    dismiss();
}

void WebKitPanels::connect(const char* signal, GCallback handler) {
    connections_.emplace_back(view_, g_signal_connect(view_, signal, handler, this));
}

bool WebKitPanels::holdPage() const {
    return std::any_of(pending_.begin(), pending_.end(),
                       [](const PendingPtr& pending) { return pending->holdsPage; });
}

void WebKitPanels::leave() {
    leaving_ = true;
    answeredWhileLeaving_ = 0;
    dismiss();
}

void WebKitPanels::arrived() {
    leaving_ = false;
}

void WebKitPanels::dismiss() {
    for (const auto& pending : std::exchange(pending_, {})) {
        pending->cancel();
        pending->handle.reset();
    }
}

bool WebKitPanels::answerDialog(WebKitScriptDialog* dialog) {
    switch (webkit_script_dialog_get_dialog_type(dialog)) {
    case WEBKIT_SCRIPT_DIALOG_ALERT:
    case WEBKIT_SCRIPT_DIALOG_CONFIRM:
    case WEBKIT_SCRIPT_DIALOG_PROMPT:
        break;
    case WEBKIT_SCRIPT_DIALOG_BEFORE_UNLOAD_CONFIRM:
        webkit_script_dialog_confirm_set_confirmed(dialog, TRUE);
        return true;
    }
    if (leaving_) {
        if (++answeredWhileLeaving_ == patience && onHeldUp)
            onHeldUp();
        return true;
    }
    show(dialog);
    return true;
}

void WebKitPanels::show(WebKitScriptDialog* dialog) {
    const auto kept = share(dialog);
    // Closed as it stands, a question has been cancelled.
    const auto pending = add([kept] { close(kept); });
    pending->holdsPage = true;
    // A panel may answer at once; one that is not shown at all is cancelled.
    keep(pending, ask(dialog, [this, weak = std::weak_ptr(pending), kept](const auto& answer) {
             if (!take(this, weak))
                 return;
             answer();
             close(kept);
         }));
}

Panels::Handle WebKitPanels::ask(WebKitScriptDialog* dialog,
                                 const std::function<void(const std::function<void()>&)>& end) {
    const std::string message = webkit_script_dialog_get_message(dialog);
    switch (webkit_script_dialog_get_dialog_type(dialog)) {
    case WEBKIT_SCRIPT_DIALOG_CONFIRM:
        if (asked_.onConfirm)
            return asked_.onConfirm(message, [end, dialog](bool confirmed) {
                end([&] { webkit_script_dialog_confirm_set_confirmed(dialog, confirmed); });
            });
        break;
    case WEBKIT_SCRIPT_DIALOG_PROMPT:
        if (asked_.onPrompt)
            return asked_.onPrompt(message, webkit_script_dialog_prompt_get_default_text(dialog),
                                   [end, dialog](const std::optional<std::string>& text) {
                                       end([&] {
                                           if (text)
                                               webkit_script_dialog_prompt_set_text(dialog, text->c_str());
                                       });
                                   });
        break;
    default:
        if (asked_.onAlert)
            return asked_.onAlert(message, [end] { end([] {}); });
    }
    return nullptr;
}

/// The engine's own dialog would run a main loop of its own. The page goes on, and may ask again at once.
bool WebKitPanels::print(WebKitPrintOperation* operation) {
    const auto isPrinting = [](const PendingPtr& pending) { return pending->isPrinting; };
    if (leaving_ || !asked_.onPrint || std::any_of(pending_.begin(), pending_.end(), isPrinting))
        return true;
    const auto pending = add([] {});
    pending->isPrinting = true;
    keep(pending, asked_.onPrint(WebKitPrintJob::make(operation),
                                 [this, weak = std::weak_ptr(pending)] { take(this, weak); }));
    return true;
}

bool WebKitPanels::chooseFiles(WebKitFileChooserRequest* request) {
    const auto kept = GPtr<WebKitFileChooserRequest>::share(request);
    Panels::FileChoice choice;
    choice.multiple = webkit_file_chooser_request_get_select_multiple(request);
    if (const char* const* type = webkit_file_chooser_request_get_mime_types(request))
        for (; *type; ++type)
            choice.types.emplace_back(*type);
    const auto pending = add([kept] { select(kept.get(), {}); });
    Panels::Handle handle;
    if (!leaving_ && asked_.onChooseFiles) {
        const std::weak_ptr<Pending> weak = pending;
        handle = asked_.onChooseFiles(choice, [this, weak, kept](const auto& files) {
            if (take(this, weak))
                select(kept.get(), files);
        });
    }
    keep(pending, std::move(handle));
    return true;
}

WebKitPanels::PendingPtr WebKitPanels::add(std::function<void()> cancel) {
    auto pending = std::make_shared<Pending>();
    pending->cancel = std::move(cancel);
    pending_.push_back(pending);
    return pending;
}

void WebKitPanels::keep(const PendingPtr& pending, Panels::Handle handle) {
    if (std::find(pending_.begin(), pending_.end(), pending) == pending_.end())
        return;
    if (handle) {
        pending->handle = std::move(handle);
        return;
    }
    std::erase(pending_, pending);
    pending->cancel();
}

bool WebKitPanels::take(WebKitPanels* self, const std::weak_ptr<Pending>& weak) {
    // What is still open holds the only reference, so without it `self` may be gone too.
    const auto pending = weak.lock();
    if (!pending)
        return false;
    return std::erase(self->pending_, pending) == 1;
}
