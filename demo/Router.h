#pragma once

#include "demo/Http.h"

#include <functional>
#include <map>
#include <string>

namespace Demo {

using Handler = std::function<Answer(const Request&)>;

/// Finds the handler of a request by its path and method.
class Router {
public:
    /// Answers GET and HEAD for paths that nobody has claimed; other methods get a plain 404.
    explicit Router(Handler fallback) : fallback_(std::move(fallback)) {}

    /// A path that ends in "/*" stands for every path with exactly one more non-empty segment. A handler of
    /// GET also serves HEAD.
    void on(const std::string& method, const std::string& path, Handler handler);

    /// The handler's answer; 405 with "Allow" when the path is known and the method is not.
    Answer answer(const Request& request) const;

private:
    using Methods = std::map<std::string, Handler>;
    const Methods* locate(const std::string& path) const;

    std::map<std::string, Methods> routes_;
    Handler fallback_;
};

} // namespace Demo
