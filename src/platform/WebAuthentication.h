#pragma once

#include "platform/Task.h"
#include "platform/Url.h"

#include <optional>
#include <string>

/// A sign-in at an identity provider in the person's own browser, answered by a URL of a scheme of ours.
class WebAuthentication {
public:
    virtual ~WebAuthentication() = default;

    /// Opens `start` in the default browser and waits for a URL of the scheme `callbackScheme`, which it
    /// hands out as it came. Throws WebAuthenticationError with the code `cancelledLogin` when the person
    /// gives up, and whatever keeps the browser from opening. Ends without a URL when the wait is over
    /// without either.
    ///
    /// The browser's usual profile is used, so somebody signed in there need not sign in again.
    virtual Task<std::optional<std::string>> authenticate(Url start, std::string callbackScheme) = 0;
};
