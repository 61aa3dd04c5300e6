#include "platform/Url.h"

#include <uriparser/Uri.h>

#include <charconv>
#include <memory>
#include <stdexcept>

namespace {

struct FreeUri {
    void operator()(UriUriA* uri) const {
        uriFreeUriMembersA(uri);
        delete uri; // NOLINT(cppcoreguidelines-owning-memory): the pointer comes from make_unique below
    }
};
using UriPtr = std::unique_ptr<UriUriA, FreeUri>;

UriPtr makeUri() {
    return UriPtr(std::make_unique<UriUriA>().release());
}

/// The members of the result point into `text`, which has to outlive it.
UriPtr parseUri(std::string_view text) {
    auto uri = makeUri();
    const char* errorAt = nullptr;
    if (uriParseSingleUriExA(uri.get(), text.data(), text.data() + text.size(), &errorAt) != URI_SUCCESS)
        return nullptr;
    return uri;
}

std::string slice(const UriTextRangeA& range) {
    return range.first ? std::string(range.first, range.afterLast) : std::string();
}

std::string pathOf(const UriUriA& uri) {
    std::string path;
    for (const auto* segment = uri.pathHead; segment; segment = segment->next) {
        if (uri.absolutePath || uri.hostText.first || segment != uri.pathHead)
            path += '/';
        path += slice(segment->text);
    }
    if (path.empty() && uri.absolutePath)
        path = "/";
    return path;
}

std::string escape(std::string_view text) {
    std::string escaped(text.size() * 3 + 1, '\0');
    const char* end =
        uriEscapeExA(text.data(), text.data() + text.size(), escaped.data(), URI_FALSE, URI_FALSE);
    escaped.resize(static_cast<std::size_t>(end - escaped.data()));
    return escaped;
}

std::string toText(const UriUriA& uri) {
    int length = 0;
    if (uriToStringCharsRequiredA(&uri, &length) != URI_SUCCESS)
        return {};
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    int written = 0;
    if (uriToStringA(text.data(), &uri, length + 1, &written) != URI_SUCCESS)
        return {};
    text.resize(static_cast<std::size_t>(written) - 1);
    return text;
}

} // namespace

std::optional<Url> Url::parse(std::string_view text) {
    const auto uri = parseUri(text);
    if (!uri)
        return std::nullopt;
    Url url;
    url.text_ = text;
    url.scheme_ = slice(uri->scheme);
    if (uri->hostText.first && uri->hostText.first != uri->hostText.afterLast)
        url.host_ = slice(uri->hostText);
    if (const auto port = slice(uri->portText); !port.empty()) {
        int number = 0;
        const auto [end, failure] = std::from_chars(port.data(), port.data() + port.size(), number);
        if (failure != std::errc() || end != port.data() + port.size() || number > 65535)
            return std::nullopt;
        url.port_ = number;
    }
    url.path_ = pathOf(*uri);
    if (uri->query.first)
        url.query_ = slice(uri->query);
    return url;
}

std::string Url::origin() const {
    const auto bracketed = host_ && host_->find(':') != std::string::npos;
    auto text = scheme_ + "://" + (bracketed ? "[" + *host_ + "]" : host_.value_or(""));
    if (port_)
        text += ":" + std::to_string(*port_);
    return text;
}

std::vector<Url::QueryItem> Url::queryItems() const {
    std::vector<QueryItem> items;
    if (!query_)
        return items;
    UriQueryListA* list = nullptr;
    int count = 0;
    if (uriDissectQueryMallocExA(&list, &count, query_->data(), query_->data() + query_->size(), URI_FALSE,
                                 URI_BR_DONT_TOUCH) != URI_SUCCESS)
        return items;
    const std::unique_ptr<UriQueryListA, decltype(&uriFreeQueryListA)> owner(list, uriFreeQueryListA);
    for (const auto* item = list; item; item = item->next)
        items.emplace_back(item->key, item->value ? std::optional<std::string>(item->value) : std::nullopt);
    return items;
}

Url Url::appendingPath(std::string_view path) const {
    auto base = text_.substr(0, text_.find_first_of("?#"));
    if (base.empty() || base.back() != '/')
        base += '/';
    auto result = parse(base.append(path));
    if (!result)
        throw std::logic_error("not a path: " + std::string(path));
    return *result;
}

Url Url::withQuery(const std::vector<QueryItem>& items) const {
    auto text = text_.substr(0, text_.find_first_of("?#"));
    char separator = '?';
    for (const auto& [name, value] : items) {
        text += separator + escape(name);
        if (value)
            text += "=" + escape(*value);
        separator = '&';
    }
    return *parse(text);
}

std::optional<Url> Url::resolve(std::string_view reference) const {
    const auto base = parseUri(text_);
    const auto relative = parseUri(reference);
    if (!base || !relative)
        return std::nullopt;
    const auto resolved = makeUri();
    if (uriAddBaseUriA(resolved.get(), relative.get(), base.get()) != URI_SUCCESS)
        return std::nullopt;
    return parse(toText(*resolved));
}
