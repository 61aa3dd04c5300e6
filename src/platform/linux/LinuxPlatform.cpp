#include "platform/linux/LinuxPlatform.h"

#include "account/linux/SoupHttpClient.h"
#include "platform/linux/Graphics.h"

LinuxPlatform::LinuxPlatform(const Profile& profile, const Service& service)
    : service_(service),
      defaults_(profile.preferencesFile()),
      cookies_(service.data / "cookies.json"),
      http_([this] { return std::make_unique<SoupHttpClient>(cookies_, service_.trusted); }),
      webData_([this]() -> WebEngine& { return webEngine(); }) {}

WebEngine& LinuxPlatform::webEngine() {
    if (!engine_) {
        const WebEngine::Options options = {.data = service_.data / "web",
                                            .cache = service_.cache / "web",
                                            .origin = service_.origin,
                                            .trusted = service_.trusted,
                                            .acceleration = Graphics::isAccelerated()};
        engine_ = loadWebEngine(options);
    }
    return *engine_;
}
