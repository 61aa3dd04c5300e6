#include "demo/PageEndpoints.h"

#include "demo/PageFiles.h"

namespace Demo {

void PageEndpoints::addTo(Router& router) {
    router.on("GET", "/", [this](const Request& request) { return taskPage(request); });
    router.on("GET", "/login", [this](const Request& request) { return signInPage(request); });
    for (const char* page : {"privacy", "guides", "changelog"})
        router.on("GET", std::string("/") + page,
                  [page](const Request&) { return PageFiles::answer(std::string(page) + ".html"); });
    for (const std::string& file : PageFiles::names()) {
        if (file.ends_with(".html"))
            continue; // pages have addresses of their own
        router.on("GET", "/" + file, [file](const Request&) {
            Answer answer = PageFiles::answer(file);
            answer.headers.emplace_back("Cache-Control", "no-cache");
            return answer;
        });
    }
}

Answer PageEndpoints::taskPage(const Request& request) {
    const Account* account = signedIn_.account(request);
    if (!account)
        return Answer::redirect("/login");
    // The theme is in the first bytes of the page, so that it never appears in another one's colours first.
    return Answer::html(200, PageFiles::fill("index.html", {{"theme", account->settings.theme}}));
}

Answer PageEndpoints::signInPage(const Request& request) {
    if (signedIn_.account(request))
        return Answer::redirect("/");
    return PageFiles::answer("login.html");
}

Answer PageEndpoints::notFound(const Request& request) {
    if (request.path.starts_with("/api/"))
        return Answer::error(404, "There is nothing at this address.");
    return Answer::html(404, PageFiles::read("missing.html"));
}

} // namespace Demo
