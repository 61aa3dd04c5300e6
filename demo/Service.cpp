#include "demo/Service.h"

#include <algorithm>
#include <iostream>

namespace Demo {

namespace {

std::optional<StateFile> fileFor(const Service::Options& options) {
    if (!options.stateFile)
        return std::nullopt;
    return StateFile(*options.stateFile);
}

State firstState(const std::optional<StateFile>& file, const Now& now) {
    if (file)
        if (auto stored = file->load())
            return std::move(*stored);
    return State::seed(now());
}

bool onlyReads(const Request& request) {
    return request.method == "GET" || request.method == "HEAD";
}

/// Browsers name the page's origin with every request that is not a plain read; other clients leave it out.
bool comesFromAnotherSite(const Request& request) {
    const std::string origin = request.header("origin");
    return !origin.empty() && origin != "https://" + request.header("host");
}

void addCommonHeaders(Answer& answer) {
    answer.headers.emplace_back("X-Content-Type-Options", "nosniff");
    // Not "no-referrer": with it, browsers hide the origin of form posts, which is what tells other sites'
    // apart.
    answer.headers.emplace_back("Referrer-Policy", "same-origin");
    answer.headers.emplace_back(
        "Content-Security-Policy",
        "default-src 'self'; img-src 'self' data:; object-src 'none'; base-uri 'none'; "
        "form-action 'self'; frame-ancestors 'none'");
    if (std::ranges::find(answer.headers, "Cache-Control", [](const auto& header) { return header.first; }) ==
        answer.headers.end())
        answer.headers.emplace_back("Cache-Control", "no-store");
}

} // namespace

Service::Service(const Options& options)
    : stateFile_(fileFor(options)),
      state_(firstState(stateFile_, options.now)),
      signedIn_(state_, options.now),
      captcha_(options.now, options.captchaAnswer),
      accountEndpoints_(state_, signedIn_, captcha_),
      googleEndpoints_(state_, signedIn_, options.now),
      taskEndpoints_(signedIn_, options.now),
      pageEndpoints_(signedIn_),
      router_(PageEndpoints::notFound) {
    accountEndpoints_.addTo(router_);
    googleEndpoints_.addTo(router_);
    taskEndpoints_.addTo(router_);
    pageEndpoints_.addTo(router_);
}

Answer Service::answer(const Request& request) {
    Answer answer;
    try {
        answer = respond(request);
    } catch (const Refusal& refusal) {
        answer = Answer::error(refusal.status(), refusal.what());
    } catch (const std::exception& problem) {
        std::cerr << "brisko-demo-service: " << request.method << " " << request.path << ": "
                  << problem.what() << "\n";
        answer = Answer::error(500, "The service could not do this. Please try again.");
    }
    addCommonHeaders(answer);
    return answer;
}

std::size_t Service::longestBody(const std::string& path) {
    return path == TaskEndpoints::importPath ? 2'097'152 : 65'536;
}

Answer Service::respond(const Request& request) {
    if (onlyReads(request))
        return router_.answer(request);
    if (comesFromAnotherSite(request))
        throw Refusal(403, "This request comes from another site.");
    Answer answer = router_.answer(request);
    if (stateFile_ && answer.status < 400)
        stateFile_->save(state_);
    return answer;
}

} // namespace Demo
