#include "lock/PasscodeOwner.h"

#include "platform/Error.h"

namespace {

constexpr auto firstKey = "brisko.service"; ///< whose passcode goes without a scope

} // namespace

std::string PasscodeOwner::scopeOf(UserDefaults& defaults, const std::string& service,
                                   const std::string& builtIn, bool isOnlyService) {
    const auto known = defaults.value(firstKey);
    auto first = known.is_string() ? known.get<std::string>() : std::string();
    if (first.empty()) {
        first = isOnlyService ? service : builtIn;
        try {
            defaults.set(firstKey, first);
        } catch (const Error&) {
            // Found out anew the next time.
        }
    }
    return first == service ? std::string() : service;
}
