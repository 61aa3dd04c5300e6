#pragma once

#include "platform/UserDefaults.h"

#include <string>

/// Which service a passcode belongs to: the password that it opens is that service's and no other's.
namespace PasscodeOwner {

/// What the keys of a passcode begin with.
inline constexpr const char* keys = "brisko.passcode.";

/// The scope of the passcode of `service`: empty for the service whose passcode goes without one, which is
/// the first that the profile has been used with. Where that is not known it is `service` when the profile
/// has been used with no other, or else the one that the program was built for.
std::string scopeOf(UserDefaults& defaults, const std::string& service, const std::string& builtIn,
                    bool isOnlyService);

} // namespace PasscodeOwner
