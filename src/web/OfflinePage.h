#pragma once

#include "platform/Url.h"

#include <string>

/// What is shown in place of a page that could not be loaded: says that the service at `origin` cannot be
/// reached, with a link to try again.
namespace OfflinePage {

std::string html(const Url& origin);

} // namespace OfflinePage
