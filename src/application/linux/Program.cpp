#include "application/linux/Program.h"

#include "application/Info.h"
#include "lock/PasscodeOwner.h"
#include "platform/linux/GioWorkspace.h"
#include "platform/linux/RecentFiles.h"
#include "web/OpenedUrl.h"

namespace {

namespace fs = std::filesystem;

std::unique_ptr<DemoService> startDemo(const Options& options, const Profile& profile) {
    if (!options.demo)
        return nullptr;
    DemoService::Options service = {.certificate = profile.data / "demo-service.pem",
                                    .state = profile.data / "demo-service.json",
                                    .captchaAnswer = std::nullopt};
    if (options.tour)
        service.captchaAnswer = "tour";
    return std::make_unique<DemoService>(service);
}

/// The tour stays inside the program: it opens nothing on the person's desktop.
class ClosedWorkspace : public Workspace {
public:
    void open(const Url&, std::function<void(const Error&)>) override {}
};

std::unique_ptr<Workspace> makeWorkspace(const Options& options) {
    if (options.tour)
        return std::make_unique<ClosedWorkspace>();
    return std::make_unique<GioWorkspace>();
}

/// The tour leaves its downloads where it leaves everything else.
std::optional<std::filesystem::path> chooseDownloads(const Options& options, const Profile& profile) {
    return options.tour ? profile.data / "downloads" : UserDownloadFolder::ofUser();
}

/// What starts the program again for the same profile and the same service.
std::vector<std::string> commandOf(const Options& options) {
    std::vector<std::string> command = {std::filesystem::read_symlink("/proc/self/exe")};
    if (options.demo)
        command.emplace_back("--demo");
    if (options.serviceOrigin)
        command.insert(command.end(), {"--service-origin", options.serviceOrigin->text()});
    if (options.serviceCa)
        command.insert(command.end(), {"--service-ca", std::filesystem::absolute(*options.serviceCa)});
    if (options.profile)
        command.insert(command.end(), {"--profile", std::filesystem::absolute(*options.profile)});
    return command;
}

AppDelegate::Bundle bundle() {
    return {std::string(Info::version), std::string(Info::versionDate)};
}

/// By which the profile tells one service from another: the port of the demonstration's is another each time.
std::string serviceName(const Options& options, const Url& origin) {
    return options.demo ? "demo" : origin.text();
}

fs::path originFolder(const Profile& profile, const Options& options, const Url& origin) {
    return options.demo ? profile.data / "origins" / "demo" : profile.dataOf(origin);
}

/// Whether the profile holds nothing of any other service.
bool isOnlyOrigin(const Profile& profile, const Options& options, const Url& origin) {
    const auto own = originFolder(profile, options, origin);
    std::error_code failure;
    for (const auto& entry : fs::directory_iterator(own.parent_path(), failure))
        if (entry.path() != own)
            return false;
    return true;
}

/// To be named where a password is about to be sent there; none for the one that goes without saying.
std::optional<std::string> foreignHost(const Options& options, const Url& origin) {
    return options.serviceOrigin && origin.text() != BRISKO_ORIGIN ? origin.host() : std::nullopt;
}

} // namespace

LinuxPlatform::Service Program::chooseService(const Options& options, const Profile& profile,
                                              DemoService* demo) {
    if (demo) {
        // The port is another one each time, the person and the session are not.
        return {demo->origin(), demo->certificate(), profile.data / "origins" / "demo",
                profile.cache / "origins" / "demo"};
    }
    const auto origin = options.serviceOrigin ? options.serviceOrigin : BriskoAPI::parseOrigin(BRISKO_ORIGIN);
    if (!origin)
        throw Error(
            "This program was built with an origin that is not an https URL without a path: " BRISKO_ORIGIN);
    return {*origin, options.serviceCa, profile.dataOf(*origin), profile.cacheOf(*origin)};
}

Program::Program(const Options& options, const Profile& profile, Gtk::Application& application)
    : demo_(startDemo(options, profile)),
      platform_(profile, chooseService(options, profile, demo_.get())),
      workspace_(makeWorkspace(options)),
      panel_(application),
      authentication_(*workspace_, panel_,
                      [](const std::string& url) { return OpenedUrl::servicePath(url).has_value(); }),
      api_(platform_.origin(), platform_.http(), platform_.cookies(), platform_.webData(), authentication_),
      remembered_(platform_.defaults()),
      passcodeScope_(PasscodeOwner::scopeOf(platform_.defaults(), serviceName(options, platform_.origin()),
                                            BRISKO_ORIGIN,
                                            isOnlyOrigin(profile, options, platform_.origin()))),
      passcodeDefaults_(platform_.defaults(), PasscodeOwner::keys, passcodeScope_),
      keychain_(profile.applicationId() + (passcodeScope_.empty() ? "" : " " + passcodeScope_)),
      passcode_(keychain_, passcodeDefaults_, clock_),
      foreignHost_(foreignHost(options, platform_.origin())),
      lockShortcut_(platform_.defaults()),
      menus_(lockShortcut_),
      downloadFolder_(chooseDownloads(options, profile), RecentFiles::add),
      dock_(profile.applicationId() + ".desktop"),
      owner_(systemBus_),
      desktop_(systemBus_),
      center_(GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)),
              {{profile.applicationId(), profile.remindersFolder()}, commandOf(options)}, question_),
      notifications_(center_, queue_),
      reminders_(center_, dock_, clock_, zone_) {
    // Nothing of the engine starts where there is no session that it could show.
    if (api_.hasSession())
        platform_.webEngine().prepare();
}

Program::~Program() {
    // What still waits for an answer is told that none will come, while all that it may reach is still there.
    platform_.cancelRequests();
    keychain_.cancelAll();
    owner_.cancelAll();
    center_.cancelAll();
    front_.reset();
}

Program::Front::Front(Program& program, const Glib::RefPtr<Gtk::Application>& application)
    : window(application, program.platform_.defaults()),
      panels(window.window()),
      downloads(Downloads::make(program.downloadFolder_, program.dock_, panels)),
      aboutWindow(*application.get(), *program.workspace_),
      screens(program.platform_),
      appLock(AppLock::make(program.platform_.defaults(), program.owner_, window, program.queue_)),
      delegate(AppDelegate::make({program.api_,
                                  program.remembered_,
                                  program.passcode_,
                                  program.platform_.defaults(),
                                  *appLock,
                                  events,
                                  program.desktop_,
                                  program.notifications_,
                                  program.reminders_,
                                  program.platform_.webData(),
                                  *program.workspace_,
                                  program.clock_,
                                  program.queue_,
                                  window,
                                  panels,
                                  aboutWindow,
                                  program.dock_,
                                  *downloads,
                                  program.menus_,
                                  screens,
                                  bundle(),
                                  program.foreignHost_})),
      menuBar(*delegate, window, *application.get()),
      question(program.question_),
      activation(GTK_WINDOW(window.window().gobj())) {
    activation.onActivated = [this] { delegate->applicationDidBecomeActive(); };
    activation.onDeactivated = [this] { delegate->applicationDidResignActive(); };
    question.setPanels(&panels);
    // A file dialog may be the desktop's own, in a process that the window's layers do not reach.
    window.layers().onOverlayChanged = [this] { panels.setBehind(window.layers().hasOverlay()); };
}

Program::Front::~Front() {
    window.layers().onOverlayChanged = nullptr;
    question.leavePanels(panels);
    downloads->end();
    // The screens go with the delegate, out of the window.
    window.removeContent();
}

void Program::openWindow(const Glib::RefPtr<Gtk::Application>& application) {
    application_ = application;
    center_.listen(G_ACTION_MAP(application->gobj()));
    desktop_.start();
    makeFront();
}

void Program::makeFront() {
    front_ = std::make_unique<Front>(*this, application_);
    front_->delegate->applicationDidFinishLaunching();
}

void Program::startOver() {
    // The application ends with its last window, so the old one goes when the new one is there.
    const auto previous = std::move(front_);
    makeFront();
}

void Program::reopen() {
    front_->delegate->applicationShouldHandleReopen();
}

void Program::open(const std::vector<std::string>& urls) {
    std::vector<std::string> pages;
    for (const auto& url : urls)
        if (!authentication_.take(url))
            pages.push_back(url);
    front_->delegate->open(pages);
}
