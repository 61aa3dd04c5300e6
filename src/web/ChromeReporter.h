#pragma once

#include "platform/Color.h"
#include "platform/Json.h"
#include "web/MenuAction.h"

#include <functional>
#include <optional>
#include <string_view>

/// Reads what the chrome script posts: the page's colour as the engine writes it, and the account's key
/// bindings. What does not parse is dropped, for it comes from a page.
class ChromeReporter {
public:
    struct Report {
        std::optional<Color> background;    ///< opaque; components may lie beyond 0 to 1
        std::optional<Shortcuts> shortcuts; ///< without the members that were no text
    };

    static constexpr const char* handlerName = "briskoChrome";

    /// Called once for each message that is an object; without it, messages are dropped.
    std::function<void(const Report&)> onReport;

    void receive(const Json& body) const;

    /// The colour of a CSS colour function's text: its first three numbers, of 255 each, whatever the
    /// function. None for a colour that is transparent (a fourth number up to 0.01) or has fewer numbers.
    static std::optional<Color> colour(std::string_view text);
};
