#pragma once

#include "platform/Url.h"

#include <optional>
#include <string>

/// The window that says what program this is.
class AboutPanel {
public:
    struct Info {
        std::optional<std::string> applicationVersion; ///< "1.2.3"
        std::optional<std::string> version;            ///< the date of that version
        std::string credits;                           ///< the text of a link
        Url link;                                      ///< where it leads
    };

    virtual ~AboutPanel() = default;

    /// Shows it in front, anew when it is there already.
    virtual void show(const Info& info) = 0;
};
