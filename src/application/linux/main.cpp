#include "application/linux/Options.h"
#include "application/linux/Program.h"
#include "application/linux/Tour.h"
#include "platform/linux/Graphics.h"
#include "platform/linux/MemoryProtection.h"
#include "platform/linux/Profile.h"
#include "platform/linux/TemporaryFolder.h"

#include <giomm/file.h>
#include <gtkmm/application.h>
#include <gtkmm/cssprovider.h>
#include <gtkmm/stylecontext.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

extern "C" void brisko_register_resource();

namespace {

constexpr int usageError = 2;

Profile chooseProfile(const Options& options, std::optional<TemporaryFolder>& tourFolder) {
    if (options.profile)
        return Profile::under(*options.profile);
    if (options.tour) {
        // Each tour starts as a new user does, and leaves nothing behind but its pictures.
        tourFolder.emplace("brisko-tour");
        return Profile::under(tourFolder->path());
    }
    if (options.demo)
        return Profile::under(std::filesystem::path(g_get_user_data_dir()) / "brisko-demo");
    return Profile::ofUser();
}

/// Whether another process already runs this instance. No bus means that nobody can be asked, and so that
/// none does.
bool alreadyRuns(GDBusConnection* bus, const std::string& applicationId) {
    if (!bus)
        return false;
    constexpr int milliseconds = 2000;
    const GVariantPtr reply(g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
        g_variant_new("(s)", applicationId.c_str()), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE,
        milliseconds, nullptr, nullptr));
    gboolean owned = FALSE;
    if (reply)
        g_variant_get(reply.get(), "(b)", &owned);
    return owned;
}

void addStyle(const char* name) {
    const auto style = Gtk::CssProvider::create();
    style->load_from_resource(std::string("/app/brisko/Brisko/") + name);
    Gtk::StyleContext::add_provider_for_display(Gdk::Display::get_default(), style,
                                                GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
}

/// The URLs as they were given: GIO hands them over as files.
std::vector<std::string> urlsOf(const std::vector<Glib::RefPtr<Gio::File>>& files) {
    std::vector<std::string> urls;
    for (const auto& file : files)
        urls.push_back(file->get_uri());
    return urls;
}

int run(const Options& options) {
    Graphics::chooseRenderer();
    Graphics::preferDarkTheme();
    std::optional<TemporaryFolder> tourFolder;
    const auto profile = chooseProfile(options, tourFolder);
    const auto applicationId = profile.applicationId();
    const auto application = Gtk::Application::create(applicationId, Gio::Application::Flags::HANDLES_OPEN);

    // The application shares this connection for as long as it is held; on its own it would make another one.
    const auto bus = GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    std::unique_ptr<Program> program;
    if (!alreadyRuns(bus.get(), applicationId))
        program = std::make_unique<Program>(options, profile, *application.get());

    std::unique_ptr<Tour> tour;
    int status = EXIT_SUCCESS;
    application->signal_startup().connect([&] {
        brisko_register_resource();
        addStyle("native-screen.css");
        addStyle("auth-screen.css");
        addStyle("passcode-screen.css");
        addStyle("lock-settings-screen.css");
        addStyle("window.css");
        // Another process may have become the one instance since it was looked for, or have just ended.
        if (!program)
            program = std::make_unique<Program>(options, profile, *application.get());
        program->openWindow(application);
        spawn(MemoryProtection::applyBesidePortals());
        if (options.tour) {
            tour = std::make_unique<Tour>(*options.tour, *program);
            spawn(tour->run([&](bool succeeded) {
                status = succeeded ? EXIT_SUCCESS : EXIT_FAILURE;
                application->quit();
            }));
        }
    });
    application->signal_activate().connect([&] { program->reopen(); });
    application->signal_open().connect([&](const auto& files, const auto&) { program->open(urlsOf(files)); });

    std::string name = "brisko";
    std::vector<std::string> urls = options.urls;
    std::vector<char*> arguments = {name.data()};
    for (auto& url : urls)
        arguments.push_back(url.data());
    const auto result = application->run(static_cast<int>(arguments.size()), arguments.data());
    tour.reset();
    program.reset();
    return result != EXIT_SUCCESS ? result : status;
}

} // namespace

int main(int count, char** arguments) {
    std::setlocale(LC_ALL, "");
    Options options;
    try {
        options = Options::parse(std::vector<std::string>(arguments + 1, arguments + count));
    } catch (const Error& failure) {
        std::fprintf(stderr, "brisko: %s\n", failure.what());
        return usageError;
    }
    if (options.action == Options::Action::showVersion) {
        std::printf("brisko %s\n", BRISKO_VERSION);
        return EXIT_SUCCESS;
    }
    if (options.action == Options::Action::showHelp) {
        std::fputs(Options::help().c_str(), stdout);
        return EXIT_SUCCESS;
    }
    try {
        return run(options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "brisko: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
