#pragma once

#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <map>
#include <string>

namespace Demo {

using Json = nlohmann::json;
using Headers = std::map<std::string, std::string>;

/// A folder that lasts as long as the object.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }

    std::string file(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

struct Response {
    unsigned status = 0; ///< 0: there was no answer, and `body` is the transport's explanation
    Headers headers;     ///< names in lower case
    std::string body;

    std::string header(const std::string& name) const {
        return headers.contains(name) ? headers.at(name) : "";
    }
    Json json() const { return Json::parse(body, nullptr, false); }
    /// The sentence under "error", empty without one.
    std::string error() const;
    /// "brisko_session=..." as the client would send it back, empty when no session was set.
    std::string cookie() const;
};

enum class Framing { contentLength, chunked };

/// An HTTPS client that trusts one certificate and nothing else, follows no redirects and keeps no cookies.
class TestClient {
public:
    TestClient(std::string origin, const std::string& certificateFile);

    Response get(const std::string& path, const std::string& cookie = {}, const Headers& headers = {}) const;
    Response send(const std::string& method, const std::string& path, const std::string& body,
                  const std::string& cookie = {}, const Headers& headers = {},
                  Framing framing = Framing::contentLength) const;
    Response post(const std::string& path, const Json& body, const std::string& cookie = {}) const {
        return send("POST", path, body.dump(), cookie);
    }
    Response patch(const std::string& path, const Json& body, const std::string& cookie) const {
        return send("PATCH", path, body.dump(), cookie);
    }

    /// Signs in with a password and returns the session's cookie.
    std::string signIn(const std::string& username = "ada",
                       const std::string& password = "lovelace-1843") const;

    const std::string& origin() const { return origin_; }

private:
    std::string origin_;
    GPtr<SoupSession> session_;
};

} // namespace Demo
