#pragma once

#include "demo/Router.h"
#include "demo/SignedIn.h"

namespace Demo {

/// The pages: the task page at "/" for whoever is signed in (303 to "/login" otherwise), the sign-in page,
/// the pages that the desktop program links to, and their scripts, styles and icon.
class PageEndpoints {
public:
    explicit PageEndpoints(SignedIn& signedIn) : signedIn_(signedIn) {}

    void addTo(Router& router);

    /// The page for an address that leads nowhere.
    static Answer notFound(const Request& request);

private:
    Answer taskPage(const Request& request);
    Answer signInPage(const Request& request);

    SignedIn& signedIn_;
};

} // namespace Demo
