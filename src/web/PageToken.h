#pragma once

#include "platform/Json.h"

#include <string>

/// By which a view knows the messages of its own scripts: any frame, and any page that the view may show, can
/// post to its handlers.
class PageToken {
public:
    /// Of 128 random bits.
    PageToken();

    const std::string& text() const { return text_; }
    /// What one of the scripts has to say; null when it was somebody else.
    Json bodyOf(const Json& message) const;

private:
    std::string text_;
};
