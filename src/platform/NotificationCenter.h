#pragma once

#include "platform/LocalTime.h"
#include "platform/Task.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// A notification to come. It sounds with the desktop's usual sound, once.
struct NotificationRequest {
    std::string identifier; ///< of pending requests, at most one has it
    std::string title;
    std::optional<std::string> body;
    std::int64_t taskId = 0;
    LocalMinute trigger; ///< in whatever time zone the person is by then

    bool operator==(const NotificationRequest&) const = default;
};

enum class NotificationPermission { notDetermined, denied, authorized, provisional, ephemeral };

/// The desktop's notifications of this program. They come whether or not the program runs by then, and are
/// pending until they have.
///
/// Nothing here fails: where there is no notification centre the permission is denied, and nothing is
/// pending.
class NotificationCenter {
public:
    /// What one `replace` has changed.
    struct Replaced {
        std::size_t removed = 0;
        std::size_t added = 0; ///< each request of the list, also where a later one has its identifier

        bool operator==(const Replaced&) const = default;
    };

    virtual ~NotificationCenter() = default;

    /// The person has opened a notification while the program runs.
    std::function<void()> onResponse;

    virtual Task<NotificationPermission> permission() = 0;
    /// Asks the person, unless they have answered before. A question that is dismissed leaves the permission
    /// not determined. Not called again while the person is being asked.
    virtual Task<NotificationPermission> requestPermission() = 0;

    /// Asks the person again, whatever they have answered before. A question that is dismissed changes
    /// nothing. Not called while the person is being asked.
    virtual Task<NotificationPermission> reconsiderPermission() = 0;

    virtual Task<std::vector<std::string>> pendingIdentifiers() = 0;
    /// Removes the pending requests whose identifiers begin with `prefix` and adds `requests` in their place,
    /// all of it or, where that cannot be kept, nothing. What has been kept, has been kept durably. Of
    /// requests with one identifier the last one stands.
    ///
    /// A request is delivered at most once. One whose minute passes while the machine is off is delivered
    /// when it is back, up to a day later.
    virtual Task<Replaced> replace(std::string prefix, std::vector<NotificationRequest> requests) = 0;
};
