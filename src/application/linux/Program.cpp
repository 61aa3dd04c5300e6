#include "application/linux/Program.h"

#include "platform/linux/GioWorkspace.h"
#include "web/OpenedUrl.h"

namespace {

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
      keychain_(profile.applicationId()),
      passcode_(keychain_, platform_.defaults(), clock_) {
    // Nothing of the engine starts where there is no session that it could show.
    if (api_.hasSession())
        platform_.webEngine().prepare();
}

Program::~Program() {
    // What still waits for an answer is told that none will come, while all that it may reach is still there.
    platform_.cancelRequests();
    keychain_.cancelAll();
    if (window_)
        window_->removeContent();
}

void Program::openWindow(const Glib::RefPtr<Gtk::Application>& application) {
    application_ = application;
    window_ = std::make_unique<MainWindow>(application);
    screens_ = std::make_unique<GtkScreens>(platform_);
    delegate_ =
        AppDelegate::make({api_, remembered_, passcode_, *workspace_, clock_, queue_, *window_, *screens_});
    delegate_->applicationDidFinishLaunching();
}

void Program::startOver() {
    // The application ends with its last window, so the old one goes when the new one is there.
    const auto previous = std::move(window_);
    previous->removeContent();
    delegate_.reset();
    openWindow(application_);
}

void Program::reopen() {
    delegate_->applicationShouldHandleReopen();
}

void Program::open(const std::vector<std::string>& urls) {
    std::vector<std::string> pages;
    for (const auto& url : urls)
        if (!authentication_.take(url))
            pages.push_back(url);
    delegate_->open(pages);
}
