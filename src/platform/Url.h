#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// An absolute URL or a relative reference as RFC 3986 defines it, parsed by uriparser.
///
/// `text()` is the URL exactly as given; the parts are slices of it, still percent-encoded. A text that RFC
/// 3986 does not allow (a blank, an unescaped non-ASCII character) does not parse. Scheme and host keep their
/// case.
class Url {
public:
    /// None when `text` is not a URL.
    static std::optional<Url> parse(std::string_view text);

    const std::string& text() const { return text_; }
    /// Empty for a relative reference.
    const std::string& scheme() const { return scheme_; }
    /// None when the URL has no authority, or an empty one. An IPv6 address comes without its brackets.
    const std::optional<std::string>& host() const { return host_; }
    std::optional<int> port() const { return port_; }
    const std::string& path() const { return path_; }
    /// Scheme, host and port, without a path: "https://host:8443".
    std::string origin() const;

    /// One name of the query and its value, percent-decoded; a name without "=" has no value. "+" stays a
    /// plus.
    using QueryItem = std::pair<std::string, std::optional<std::string>>;
    std::vector<QueryItem> queryItems() const;

    /// This URL with `path` behind it: one "/" between the two, slashes inside `path` kept as they are.
    Url appendingPath(std::string_view path) const;
    /// This URL with the given query in place of its own, names and values percent-encoded.
    Url withQuery(const std::vector<QueryItem>& items) const;
    /// `reference` resolved against this URL (RFC 3986, section 5); none when it is not a URL reference.
    std::optional<Url> resolve(std::string_view reference) const;

    bool operator==(const Url& other) const { return text_ == other.text_; }

private:
    Url() = default;

    std::string text_;
    std::string scheme_;
    std::optional<std::string> host_;
    std::optional<int> port_;
    std::string path_;
    std::optional<std::string> query_;
};
