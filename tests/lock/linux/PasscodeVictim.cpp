/// Does one thing after another with a passcode store over the real keyring and preferences, until it is
/// killed. Each line that it prints says what it is about to do, or what has become of it:
///
///     passcode-victim PREFERENCES SERVICE SEED NOW [CODE]
///
/// NOW is the time in seconds since 1970, which stands still but for the "wait" of the program itself; CODE
/// is the passcode that is in force at the start.

#include "fakes/FakeLock.h"
#include "linux/MainLoop.h"
#include "lock/PasscodeStore.h"
#include "lock/linux/SecretServiceKeychain.h"
#include "platform/linux/JsonUserDefaults.h"

#include <unistd.h>

#include <cstdlib>
#include <random>
#include <string>

namespace {

using namespace std::chrono_literals;

class Victim {
public:
    Victim(const char* preferences, const char* service, unsigned seed, long now, const char* code)
        : defaults_(preferences), keychain_(service), random_(seed), code_(code) {
        clock_.time = Clock::time_point(std::chrono::seconds(now));
    }

    void launch() {
        say("launch");
        end(operations_.reconcile());
        if (!passcode_.shape())
            end(operations_.clear());
        say("launched");
    }
    void doSomething() {
        switch (std::uniform_int_distribution(0, 9)(random_)) {
        case 0:
        case 1:
        case 2:
            return set();
        case 3:
        case 4:
            return unlock("right", code_);
        case 5:
        case 6:
        case 7:
            return unlock("wrong", code_ + "0");
        case 8:
            say("wait");
            clock_.time += 150s;
            return;
        default:
            say("clear");
            end(operations_.clear());
            code_.clear();
            return say("cleared");
        }
    }

private:
    static void say(const std::string& text) {
        const auto line = text + "\n";
        // One write, so that a line is there whole or not at all.
        if (::write(STDOUT_FILENO, line.data(), line.size()) < 0)
            std::exit(EXIT_FAILURE);
    }
    static std::string end(const PasscodeOperations::Words& words) {
        MainLoop::runUntil([&] { return words->has_value(); });
        return **words;
    }

    void set() {
        const int lengths[] = {4, 6, 8};
        std::string code(lengths[std::uniform_int_distribution(0, 2)(random_)], '0');
        for (auto& digit : code)
            digit = static_cast<char>('0' + std::uniform_int_distribution(0, 9)(random_));
        const std::string name = std::uniform_int_distribution(0, 1)(random_) ? "ann" : "bob";
        say("set " + code + " " + name);
        const auto words = end(operations_.set(code, name, "password of " + code));
        code_ = code;
        say("result " + words);
    }
    void unlock(const std::string& kind, const std::string& code) {
        // Nobody is asked for a passcode where there is none.
        if (!passcode_.shape())
            return;
        say(kind);
        say("result " + end(operations_.unlock(code)));
    }

    JsonUserDefaults defaults_;
    SecretServiceKeychain keychain_;
    FakeClock clock_;
    Passcode passcode_{keychain_, defaults_, clock_};
    PasscodeOperations operations_{passcode_, clock_};
    std::minstd_rand random_;
    std::string code_;
};

} // namespace

int main(int count, char** arguments) {
    if (count < 5)
        return EXIT_FAILURE;
    Victim victim(arguments[1], arguments[2], static_cast<unsigned>(std::atol(arguments[3])),
                  std::atol(arguments[4]), count > 5 ? arguments[5] : "");
    victim.launch();
    for (;;)
        victim.doSomething();
}
