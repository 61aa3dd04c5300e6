#include "platform/linux/Module.h"

#include "platform/Error.h"
#include "platform/linux/BuildId.h"

#include <dlfcn.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;

fs::path pathOf(const std::string& module) {
    std::error_code unreadable;
    const auto program = fs::read_symlink("/proc/self/exe", unreadable);
    auto beside = program.parent_path() / module;
    if (!unreadable && fs::exists(beside, unreadable))
        return beside;
    return fs::path(BRISKO_MODULE_DIR) / module;
}

[[noreturn]] void fail(const std::string& module) {
    const char* reason = dlerror();
    throw Error(module + " cannot be loaded: " + (reason ? reason : "unknown reason"));
}

} // namespace

void* Module::symbolOf(const std::string& module, const char* symbol) {
    void* const library = dlopen(pathOf(module).c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!library)
        fail(module);
    const auto buildId = reinterpret_cast<const char* (*)()>(dlsym(library, BuildId::symbol));
    if (!buildId || buildId() != BuildId::own)
        throw Error(module + " is not of this build of brisko. Install brisko anew.");
    void* const address = dlsym(library, symbol);
    if (!address)
        fail(module);
    return address;
}
