#pragma once

#include "platform/SecretRoom.h"

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

/// A password, a passcode or a key: text that is wiped from memory when its owner goes or takes another one,
/// and that is not written to a disk before.
///
/// It moves, and is copied only where somebody says so; it has no stream operator and no conversion, so it
/// cannot end up in a message by accident. What is handed out as a view lives as long as the secret and is
/// not kept.
class SecretText {
public:
    SecretText() = default;
    /// Takes the text over and wipes what the caller held.
    explicit SecretText(std::string&& text) : SecretText(std::string_view(text)) { wipe(text); }
    explicit SecretText(std::string_view text) : size_(text.size()) {
        if (text.empty())
            return;
        text_ = SecretRoom::take(size_);
        text.copy(text_, size_);
    }
    explicit SecretText(const char* text) : SecretText(std::string_view(text)) {}
    SecretText(SecretText&& other) noexcept
        : text_(std::exchange(other.text_, nullptr)), size_(std::exchange(other.size_, 0)) {}
    SecretText& operator=(SecretText&& other) noexcept {
        if (this != &other) {
            clear();
            text_ = std::exchange(other.text_, nullptr);
            size_ = std::exchange(other.size_, 0);
        }
        return *this;
    }
    SecretText(const SecretText&) = delete;
    SecretText& operator=(const SecretText&) = delete;
    ~SecretText() { clear(); }

    SecretText copy() const { return SecretText(view()); }
    std::string_view view() const { return {text_, size_}; }
    bool empty() const { return size_ == 0; }
    void clear() {
        if (text_)
            SecretRoom::giveBack(std::exchange(text_, nullptr), std::exchange(size_, 0));
    }
    bool operator==(const SecretText& other) const { return view() == other.view(); }

    /// Overwrites all of the text's memory and leaves it empty.
    static void wipe(std::string& text) {
        text.resize(text.capacity());
        explicit_bzero(text.data(), text.size());
        text.clear();
    }

private:
    char* text_ = nullptr; ///< of the room; null when it is empty
    std::size_t size_ = 0;
};
