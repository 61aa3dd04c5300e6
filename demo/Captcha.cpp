#include "demo/Captcha.h"

#include "demo/CaptchaPicture.h"
#include "demo/Random.h"
#include "platform/linux/GPtr.h"

#include <glib.h>

#include <string_view>

namespace Demo {

namespace {

constexpr std::chrono::minutes lifetime(10);
constexpr std::size_t capacity = 200;
constexpr std::size_t length = 5;
// Without the look-alikes: 0 O Q D, 1 I L, 2 Z, 5 S, 8 B, 6 G, U V.
constexpr std::string_view alphabet = "ACEFHJKMNPRTWXY3479";

std::string randomText() {
    std::string text;
    for (std::size_t n = 0; n < length; ++n)
        text += alphabet[Random::below(alphabet.size())];
    return text;
}

/// The form in which answers are compared.
std::string folded(const std::string& answer) {
    const GText upper(g_ascii_strup(answer.data(), static_cast<gssize>(answer.size())));
    return g_strstrip(upper.get());
}

} // namespace

Captcha::Captcha(Now now, std::optional<std::string> fixedAnswer)
    : fixedAnswer_(std::move(fixedAnswer)), open_(std::move(now), lifetime, capacity) {}

Captcha::Challenge Captcha::draw() {
    const std::string text = fixedAnswer_ ? *fixedAnswer_ : randomText();
    return {open_.issue(folded(text)), drawCaptcha(text)};
}

bool Captcha::passes(const std::string& token, const std::string& answer) {
    return open_.take(token) == folded(answer);
}

} // namespace Demo
