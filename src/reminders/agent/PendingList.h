#pragma once

#include "platform/NotificationCenter.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Requests as text between the program and the agent: a JSON array. No notification shows more of a text
/// than this keeps of it, and bytes that are not UTF-8 become U+FFFD.
namespace RequestText {

inline constexpr std::size_t titleLimit = 1024; ///< bytes
inline constexpr std::size_t bodyLimit = 4096;  ///< bytes

/// What is handed over at most: more than any account has, and less than a machine has memory.
inline constexpr std::size_t sizeLimit = 64 << 20; ///< bytes
inline constexpr std::size_t countLimit = 200'000;

std::string encode(const std::vector<NotificationRequest>& requests);
/// None when the text is something else.
std::optional<std::vector<NotificationRequest>> decode(std::string_view text);

} // namespace RequestText

/// What the agent keeps on disk of the latest replacement.
struct PendingList {
    struct Reminder {
        NotificationRequest request;
        std::chrono::sys_seconds
            added; ///< tells which of two equal minutes is meant, where clocks are set back

        bool operator==(const Reminder&) const = default;
    };

    std::uint64_t sync = 0;           ///< which replacement this is; no two have the same number
    std::vector<std::string> command; ///< starts the program; empty when nobody has said how
    std::vector<Reminder> reminders;  ///< no two have the same identifier

    std::string encode() const;
    /// None when the text is something else.
    static std::optional<PendingList> decode(std::string_view text);

    bool operator==(const PendingList&) const = default;
};
