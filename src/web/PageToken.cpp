#include "web/PageToken.h"

#include <random>

PageToken::PageToken() {
    constexpr auto digits = "0123456789abcdef";
    constexpr int length = 32;
    std::random_device random;
    for (int count = 0; count < length; ++count)
        text_ += digits[random() % 16];
}

Json PageToken::bodyOf(const Json& message) const {
    if (!message.is_object() || message.value("token", Json()) != text_)
        return nullptr;
    return message.value("body", Json());
}
