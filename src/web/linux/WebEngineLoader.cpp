#include "platform/linux/Module.h"
#include "web/linux/WebEngineModule.h"

std::unique_ptr<WebEngine> loadWebEngine(const WebEngine::Options& options) {
    const auto make = reinterpret_cast<decltype(&briskoMakeWebEngine)>(
        Module::symbolOf(webEngineModuleName, webEngineFactoryName));
    return std::unique_ptr<WebEngine>(make(options));
}
