#include "web/OpenedUrl.h"

#include "platform/Url.h"

std::optional<std::string> OpenedUrl::servicePath(std::string_view text) {
    const auto url = Url::parse(text);
    if (!url || !url->host())
        return std::nullopt;
    if (*url->host() == "new")
        return "/?new=1";
    if (*url->host() == "today")
        return "/";
    if (*url->host() == "search")
        return "/?search=1";
    return std::nullopt;
}
