#include "platform/linux/GioWorkspace.h"

#include "platform/Task.h"
#include "platform/linux/GAsync.h"
#include "platform/linux/GPtr.h"

#include <gtk/gtk.h>

namespace {

/// Carries the activation token, so that the browser may come to the front.
GPtr<GAppLaunchContext> launchContext() {
    auto* display = gdk_display_get_default();
    if (!display)
        return {};
    return GPtr<GAppLaunchContext>::take(G_APP_LAUNCH_CONTEXT(gdk_display_get_app_launch_context(display)));
}

Task<> launch(std::string url, std::function<void(const Error&)> onFailure) {
    const auto context = launchContext();
    GAsync launching;
    g_app_info_launch_default_for_uri_async(url.c_str(), context.get(), nullptr, GAsync::ready, &launching);
    const auto result = co_await launching;
    GError* error = nullptr;
    if (!g_app_info_launch_default_for_uri_finish(result.get(), &error)) {
        const GErrorPtr owner(error);
        if (onFailure)
            onFailure(Error(error->message));
    }
}

} // namespace

void GioWorkspace::open(const Url& url, std::function<void(const Error&)> onFailure) {
    spawn(launch(url.text(), std::move(onFailure)));
}
