#include "account/BriskoAPI.h"
#include "platform/linux/LinuxPlatform.h"

#include <gtk/gtk.h>

#include <cstdio>
#include <stdexcept>

namespace {

constexpr int usageError = 2;

/// Nobody signs in at Google here.
class NoWebAuthentication : public WebAuthentication {
public:
    Task<std::optional<std::string>> authenticate(Url, std::string) override { co_return std::nullopt; }
};

Task<> signIn(BriskoAPI& api, bool& signedIn, bool& ended) {
    try {
        // The account that the embedded service comes with.
        co_await api.signIn("ada", SecretText("lovelace-1843"));
        co_await api.handOverSession();
        signedIn = co_await api.hasLiveSession();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "signed-in-profile: %s\n", failure.what());
    }
    ended = true;
}

bool prepare(const Profile& profile, const Url& origin, const char* certificate) {
    LinuxPlatform platform(profile, LinuxPlatform::Service{origin, certificate, profile.dataOf(origin),
                                                           profile.cacheOf(origin)});
    NoWebAuthentication authentication;
    BriskoAPI api(origin, platform.http(), platform.cookies(), platform.webData(), authentication);
    bool signedIn = false;
    bool ended = false;
    spawn(signIn(api, signedIn, ended));
    while (!ended) // NOLINT(bugprone-infinite-loop): the coroutine ends it.
        g_main_context_iteration(nullptr, TRUE);
    return signedIn;
}

} // namespace

/// Leaves DIR as brisko leaves it after a sign-in, and prints the folder of the web view's data in it.
int main(int count, char** arguments) {
    const auto origin = count == 4 ? BriskoAPI::parseOrigin(arguments[1]) : std::nullopt;
    if (!origin) {
        std::fputs("usage: signed-in-profile ORIGIN CERTIFICATE DIR\n", stderr);
        return usageError;
    }
    try {
        gtk_init();
        const auto profile = Profile::under(arguments[3]);
        if (!prepare(profile, *origin, arguments[2]))
            throw std::runtime_error("the sign-in has left no session");
        std::puts((profile.dataOf(*origin) / "web").c_str());
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "signed-in-profile: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
