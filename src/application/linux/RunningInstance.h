#pragma once

#include <string>
#include <vector>

/// The program of one profile that runs already.
namespace RunningInstance {

/// Hands the URLs to the instance with this application id, which comes to the front; without any it only
/// does that. The desktop's permission to take the keyboard, which this process was started with, goes along.
/// False when there is none, or no session bus to ask: then this process is the one.
bool open(const std::string& applicationId, const std::vector<std::string>& urls);

} // namespace RunningInstance
