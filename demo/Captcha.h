#pragma once

#include "demo/OneTimeTokens.h"

#include <optional>
#include <string>

namespace Demo {

/// Verification challenges for sign-up: a picture of a few characters that people read more easily than
/// programs.
///
/// Each challenge can be answered once, right or wrong, within ten minutes.
class Captcha {
public:
    struct Challenge {
        std::string token;
        std::string png; ///< the bytes of the picture's file
    };

    /// With `fixedAnswer` every challenge shows and wants that text: for demonstrations and tests only.
    Captcha(Now now, std::optional<std::string> fixedAnswer);

    Challenge draw();

    /// Whether this is the challenge's answer; letter case and blanks at the ends do not matter. Spends the
    /// challenge.
    bool passes(const std::string& token, const std::string& answer);

private:
    std::optional<std::string> fixedAnswer_;
    OneTimeTokens open_;
};

} // namespace Demo
