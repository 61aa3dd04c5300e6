#include "application/linux/ProgramModule.h"

#include "application/linux/Program.h"
#include "application/linux/ToolkitInspector.h"
#include "application/linux/Tour.h"
#include "platform/linux/Graphics.h"
#include "platform/linux/MemoryProtection.h"
#include "platform/linux/Profile.h"
#include "platform/linux/TemporaryFolder.h"

#include <giomm/file.h>
#include <gtkmm/application.h>
#include <gtkmm/cssprovider.h>
#include <gtkmm/eventcontrollerkey.h>
#include <gtkmm/stylecontext.h>

#include <cstdlib>
#include <memory>
#include <optional>

extern "C" void brisko_register_resource();

namespace {

void addStyle(const char* name) {
    const auto style = Gtk::CssProvider::create();
    style->load_from_resource(std::string("/app/brisko/Brisko/") + name);
    Gtk::StyleContext::add_provider_for_display(Gdk::Display::get_default(), style,
                                                GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
}

/// What is typed may be a secret.
void protectAtFirstKey(Gtk::Window& window) {
    const auto keys = Gtk::EventControllerKey::create();
    keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
    keys->signal_key_pressed().connect(
        [](guint, guint, Gdk::ModifierType) {
            MemoryProtection::applyNow();
            return false;
        },
        false);
    window.add_controller(keys);
}

/// The URLs as they were given: GIO hands them over as files.
std::vector<std::string> urlsOf(const std::vector<Glib::RefPtr<Gio::File>>& files) {
    std::vector<std::string> urls;
    urls.reserve(files.size());
    for (const auto& file : files)
        urls.push_back(file->get_uri());
    return urls;
}

} // namespace

int briskoRunProgram(const Options& options) {
    ToolkitInspector::forbidEnvironment();
    Graphics::chooseRenderer();
    Graphics::preferDarkTheme();
    // Each tour starts as a new user does, and leaves nothing behind but its pictures.
    std::optional<TemporaryFolder> tourFolder;
    if (options.tour && !options.profile)
        tourFolder.emplace("brisko-tour");
    const auto profile = tourFolder ? Profile::under(tourFolder->path()) : options.chooseProfile();
    const auto applicationId = profile.applicationId();
    // What the display server is told the windows belong to: the desktop entry, whichever the profile is.
    g_set_prgname(Profile::userApplicationId);
    g_set_application_name("brisko");
    const auto application = Gtk::Application::create(applicationId, Gio::Application::Flags::HANDLES_OPEN);

    // No other process ran this instance a moment ago, so everything that needs no window starts beside the
    // toolkit.
    auto program = std::make_unique<Program>(options, profile, *application.get());
    auto service = options.service();
    if (service.origin.empty())
        service.origin = program->origin().text();
    RunningInstance::announce(G_ACTION_MAP(application->gobj()), service);

    std::unique_ptr<Tour> tour;
    int status = EXIT_SUCCESS;
    application->signal_startup().connect([&] {
        ToolkitInspector::forbidKeys();
        brisko_register_resource();
        addStyle("native-screen.css");
        addStyle("auth-screen.css");
        addStyle("passcode-screen.css");
        addStyle("lock-settings-screen.css");
        addStyle("window.css");
        program->openWindow(application);
        spawn(MemoryProtection::applyBesidePortals());
        protectAtFirstKey(program->mainWindow().window());
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
