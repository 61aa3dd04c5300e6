#include "demo/StateFile.h"

#include "platform/linux/GPtr.h"

#include <glib/gstdio.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <system_error>

namespace Demo {

std::optional<State> StateFile::load() const {
    char* raw = nullptr;
    gsize length = 0;
    GError* error = nullptr;
    if (!g_file_get_contents(path_.c_str(), &raw, &length, &error)) {
        const GErrorPtr problem(error);
        if (g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT))
            return std::nullopt;
        throw std::runtime_error(problem->message);
    }
    const GText contents(raw);
    try {
        return State::fromJson(nlohmann::json::parse(raw, raw + length));
    } catch (const std::exception& problem) {
        std::cerr << "brisko-demo-service: " << path_ << " is damaged (" << problem.what() << ")\n";
        setAside();
        return std::nullopt;
    }
}

void StateFile::setAside() const {
    std::string aside = path_ + ".damaged";
    for (int n = 2; std::filesystem::exists(aside); ++n)
        aside = path_ + ".damaged-" + std::to_string(n);
    std::error_code problem;
    std::filesystem::rename(path_, aside, problem);
    if (problem)
        throw std::runtime_error("cannot move " + path_ + " aside: " + problem.message());
    std::cerr << "brisko-demo-service: it is kept as " << aside << ", and the service starts afresh\n";
}

void StateFile::save(const State& state) const {
    replaceFile(path_, state.toJson().dump(1));
}

void replaceFile(const std::string& path, const std::string& contents) {
    GError* error = nullptr;
    const auto flags =
        static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE);
    if (!g_file_set_contents_full(path.c_str(), contents.data(), static_cast<gssize>(contents.size()), flags,
                                  0600, &error))
        throw std::runtime_error(GErrorPtr(error)->message);
}

} // namespace Demo
