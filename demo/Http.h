#pragma once

#include <nlohmann/json_fwd.hpp>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Demo {

/// A request as the endpoints see it: decoded, complete and free of the HTTP library.
struct Request {
    std::string method;
    std::string path;                           ///< starts with "/", without the query
    std::map<std::string, std::string> query;   ///< decoded
    std::map<std::string, std::string> headers; ///< names in lower case
    std::string body;

    /// The value of a header, empty when it was not sent. `name` in lower case.
    std::string header(const std::string& name) const;

    /// The value of the first cookie of that name.
    std::optional<std::string> cookie(const std::string& name) const;

    /// The body as a JSON object. Throws Refusal (400) when it is anything else.
    nlohmann::json object() const;
};

struct Answer {
    unsigned status = 200;
    std::string contentType; ///< empty for an answer without a body
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;

    static Answer json(unsigned status, const nlohmann::json& value);
    static Answer html(unsigned status, std::string text);
    static Answer empty();
    /// 303: the client goes on with a GET of `location`.
    static Answer redirect(const std::string& location);
    /// {"error": sentence}; the clients show the sentence as it stands.
    static Answer error(unsigned status, const std::string& sentence);
};

/// Thrown by an endpoint that will not do what it was asked; becomes Answer::error(status, what()).
class Refusal : public std::runtime_error {
public:
    Refusal(unsigned status, const std::string& sentence) : std::runtime_error(sentence), status_(status) {}
    unsigned status() const { return status_; }

private:
    unsigned status_;
};

/// The text under `key`. Throws Refusal (400) when it is missing or not a text.
std::string requireText(const nlohmann::json& object, const char* key);

} // namespace Demo
