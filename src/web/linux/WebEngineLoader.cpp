#include "platform/Error.h"
#include "web/linux/WebEngineModule.h"

#include <dlfcn.h>

namespace {

namespace fs = std::filesystem;

fs::path modulePath() {
    std::error_code unreadable;
    const auto program = fs::read_symlink("/proc/self/exe", unreadable);
    const auto beside = program.parent_path() / webEngineModuleName;
    if (!unreadable && fs::exists(beside, unreadable))
        return beside;
    return fs::path(BRISKO_MODULE_DIR) / webEngineModuleName;
}

[[noreturn]] void fail() {
    const char* reason = dlerror();
    throw Error(std::string("The web engine cannot be loaded: ") + (reason ? reason : "unknown reason"));
}

} // namespace

std::unique_ptr<WebEngine> loadWebEngine(const WebEngine::Options& options) {
    // Never closed: the engine's libraries register types with GObject, which cannot be taken back.
    void* const module = dlopen(modulePath().c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!module)
        fail();
    const auto make = reinterpret_cast<decltype(&briskoMakeWebEngine)>(dlsym(module, webEngineFactoryName));
    if (!make)
        fail();
    return std::unique_ptr<WebEngine>(make(options));
}
