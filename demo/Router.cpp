#include "demo/Router.h"

namespace Demo {

void Router::on(const std::string& method, const std::string& path, Handler handler) {
    routes_[path][method] = std::move(handler);
}

const Router::Methods* Router::locate(const std::string& path) const {
    auto found = routes_.find(path);
    const std::size_t slash = path.rfind('/');
    if (found == routes_.end() && slash != std::string::npos && slash + 1 < path.size())
        found = routes_.find(path.substr(0, slash) + "/*");
    return found == routes_.end() ? nullptr : &found->second;
}

Answer Router::answer(const Request& request) const {
    const std::string method = request.method == "HEAD" ? "GET" : request.method;
    const Methods* methods = locate(request.path);
    if (!methods)
        return method == "GET" ? fallback_(request) : Answer::error(404, "There is nothing at this address.");
    const auto handler = methods->find(method);
    if (handler != methods->end())
        return handler->second(request);

    std::string allowed;
    for (const auto& [name, unused] : *methods)
        allowed += (allowed.empty() ? "" : ", ") + name;
    Answer answer = Answer::error(405, "This address does not take " + request.method + " requests.");
    answer.headers.emplace_back("Allow", allowed);
    return answer;
}

} // namespace Demo
