#pragma once

#include <gio/gio.h>

#include <string>
#include <vector>

/// The program of one profile that runs already.
namespace RunningInstance {

/// Which service a program uses, or is asked to use.
struct Service {
    std::string origin;      ///< empty when none was asked for
    std::string certificate; ///< the file's path; empty when none was asked for

    bool operator==(const Service&) const = default;
};

/// Says on the bus which service this program uses.
void announce(GActionMap* application, const Service& service);

/// Hands the URLs to the instance with this application id, which comes to the front; without any it only
/// does that. The desktop's permission to take the keyboard, which this process was started with, goes along.
/// False when there is none, or no session bus to ask: then this process is the one. Throws Error when that
/// instance uses another service than the one asked for.
bool open(const std::string& applicationId, const std::vector<std::string>& urls, const Service& asked);

} // namespace RunningInstance
