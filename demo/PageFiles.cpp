#include "demo/PageFiles.h"

#include "demo/pageResources.h"
#include "platform/linux/GPtr.h"

#include <memory>
#include <stdexcept>

namespace Demo::PageFiles {

namespace {

constexpr const char* folder = "/brisko/demo/page/";

GResource* files() {
    // The generated code has nothing to hand out before it is told to set itself up.
    static GResource* const resource = [] {
        briskoDemoPage_register_resource();
        return briskoDemoPage_get_resource();
    }();
    return resource;
}

std::string contentType(const std::string& name) {
    static const std::map<std::string, std::string> types = {{"html", "text/html; charset=utf-8"},
                                                             {"css", "text/css; charset=utf-8"},
                                                             {"js", "text/javascript; charset=utf-8"},
                                                             {"svg", "image/svg+xml"}};
    return types.at(name.substr(name.rfind('.') + 1));
}

} // namespace

std::vector<std::string> names() {
    GError* error = nullptr;
    const std::unique_ptr<char*, decltype(&g_strfreev)> children(
        g_resource_enumerate_children(files(), folder, G_RESOURCE_LOOKUP_FLAGS_NONE, &error), g_strfreev);
    if (!children)
        throw std::runtime_error(GErrorPtr(error)->message);
    return {children.get(), children.get() + g_strv_length(children.get())};
}

std::string read(const std::string& name) {
    GError* error = nullptr;
    const GBytesPtr bytes(
        g_resource_lookup_data(files(), (folder + name).c_str(), G_RESOURCE_LOOKUP_FLAGS_NONE, &error));
    if (!bytes)
        throw std::out_of_range(GErrorPtr(error)->message);
    gsize size = 0;
    const auto* data = static_cast<const char*>(g_bytes_get_data(bytes.get(), &size));
    return {data, size};
}

std::string fill(const std::string& name, const std::map<std::string, std::string>& values) {
    std::string text = read(name);
    for (const auto& [key, value] : values) {
        const std::string mark = "{{" + key + "}}";
        for (std::size_t at = text.find(mark); at != std::string::npos;
             at = text.find(mark, at + value.size()))
            text.replace(at, mark.size(), value);
    }
    return text;
}

Answer answer(const std::string& name) {
    return {200, contentType(name), read(name), {}};
}

} // namespace Demo::PageFiles
