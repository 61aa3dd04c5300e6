#include <gio/gio.h>

// What a second start of any application costs: it hands its URLs to the first and ends. With "--stay" it is
// the first.

int main(int count, char** arguments) {
    auto* const application = g_application_new("app.brisko.Empty", G_APPLICATION_HANDLES_OPEN);
    g_signal_connect(application, "activate", G_CALLBACK(+[](GApplication*) {}), nullptr);
    g_signal_connect(application, "open", G_CALLBACK(+[](GApplication*, GFile**, int, const char*) {}),
                     nullptr);
    const auto stays = count > 1 && g_strcmp0(arguments[1], "--stay") == 0;
    if (stays)
        g_application_hold(application);
    const auto status = g_application_run(application, stays ? 1 : count, arguments);
    g_object_unref(application);
    return status;
}
