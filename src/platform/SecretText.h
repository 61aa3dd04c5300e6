#pragma once

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

/// A password, a passcode or a key: text that is wiped from memory when its owner goes or takes another one.
///
/// It moves, and is copied only where somebody says so; it has no stream operator and no conversion, so it
/// cannot end up in a message by accident. What is handed out as a view lives as long as the secret and is
/// not kept.
class SecretText {
public:
    SecretText() = default;
    /// Takes the text over and wipes what the caller held.
    explicit SecretText(std::string&& text) : text_(text) { wipe(text); }
    explicit SecretText(std::string_view text) : text_(text) {}
    explicit SecretText(const char* text) : text_(text) {}
    SecretText(SecretText&& other) noexcept : text_(std::string_view(other.text_)) { wipe(other.text_); }
    SecretText& operator=(SecretText&& other) noexcept {
        if (this != &other) {
            wipe(text_);
            text_ = other.text_;
            wipe(other.text_);
        }
        return *this;
    }
    SecretText(const SecretText&) = delete;
    SecretText& operator=(const SecretText&) = delete;
    ~SecretText() { wipe(text_); }

    SecretText copy() const { return SecretText(std::string_view(text_)); }
    std::string_view view() const { return text_; }
    bool empty() const { return text_.empty(); }
    void clear() { wipe(text_); }
    bool operator==(const SecretText& other) const { return text_ == other.text_; }

    /// Overwrites all of the text's memory and leaves it empty.
    static void wipe(std::string& text) {
        text.resize(text.capacity());
        explicit_bzero(text.data(), text.size());
        text.clear();
    }

private:
    std::string text_;
};
