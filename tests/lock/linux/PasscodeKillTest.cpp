#include "fakes/FakeLock.h"
#include "linux/MainLoop.h"
#include "lock/PasscodeRecord.h"
#include "lock/PasscodeSeal.h"
#include "lock/PasscodeStore.h"
#include "lock/linux/KeyringDaemon.h"
#include "lock/linux/KillRounds.h"
#include "lock/linux/SecretServiceKeychain.h"
#include "platform/linux/JsonUserDefaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <map>
#include <random>
#include <sstream>
#include <thread>

using namespace std::chrono_literals;

namespace {

constexpr auto service = "app.brisko.Test";

/// A passcode that may be in force; an empty code for none.
struct Kept {
    std::string code;
    std::string username;

    bool operator==(const Kept&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Kept& kept) {
    return stream << (kept.code.empty() ? "none" : kept.code + " of " + kept.username);
}

/// What must be on the disk, as far as the words of a program that has been killed tell.
struct Expectation {
    Clock::time_point now{std::chrono::seconds(1'800'000'000)};
    Kept kept;
    int usedTries = 0; ///< three stand for a lock-out
    Clock::time_point lockedUntil;
    std::string doing; ///< what was begun and not ended: "", "launch", "set", "right", "wrong", "clear"
    Kept next;         ///< of the set that was begun

    bool isLocked() const { return usedTries == Passcode::triesBeforeLockOut; }

    void hear(const std::string& line) {
        std::istringstream words(line);
        std::string verb;
        words >> verb;
        if (verb == "launched") {
            forgetUnlessKept();
        } else if (verb == "wait") {
            now += 150s;
            if (isLocked() && lockedUntil <= now)
                usedTries = 0;
        } else if (verb == "cleared") {
            forget(Kept());
        } else if (verb == "result") {
            hearResult(line.substr(verb.size() + 1));
        } else {
            doing = verb;
            if (verb == "set")
                words >> next.code >> next.username;
        }
    }

    bool shapeAtStart = false; ///< a start without a shape, and without a mark, removes the record

private:
    void hearResult(const std::string& result) {
        if (doing == "set") {
            EXPECT_EQ(result, "set");
            forget(next);
        } else if (isLocked()) {
            EXPECT_THAT(result, testing::StartsWith("locked for")) << "a lock-out lets nobody try";
        } else if (doing == "right") {
            EXPECT_EQ(result, kept.username + ": password of " + kept.code);
            usedTries = 0;
        } else {
            usedTries += 1;
            lockedUntil = now + Passcode::lockOut;
            EXPECT_EQ(result, isLocked() ? "locked for 300000 ms"
                                         : "wrong, " + std::to_string(3 - usedTries) + " left");
        }
        doing.clear();
    }
    void forgetUnlessKept() {
        if (!shapeAtStart || kept.code.empty())
            forget(Kept());
        doing.clear();
    }
    void forget(const Kept& replaced) {
        kept = replaced;
        usedTries = 0;
        doing.clear();
    }
};

/// The person's machine, with a program that is killed again and again.
class PasscodeKillTest : public testing::Test {
protected:
    KeyringDaemon daemon;
    TemporaryFolder folder{"passcode-kill"};
    const std::filesystem::path preferences = folder.path() / "preferences.json";
    JsonUserDefaults defaults{preferences};
    SecretServiceKeychain keychain{service};
    FakeClock clock;
    Passcode passcode{keychain, defaults, clock};
    Expectation expected;

    /// Kills the program some time after it has printed some lines, and hears everything that it has said.
    void live(unsigned seed, std::minstd_rand& random) {
        expected.shapeAtStart = passcode.shape() || isMarked();
        const auto now =
            std::chrono::duration_cast<std::chrono::seconds>(expected.now.time_since_epoch()).count();
        GError* error = nullptr;
        const auto victim = GPtr<GSubprocess>::take(g_subprocess_new(
            G_SUBPROCESS_FLAGS_STDOUT_PIPE, &error, PASSCODE_VICTIM, preferences.c_str(), service,
            std::to_string(seed).c_str(), std::to_string(now).c_str(), expected.kept.code.c_str(), nullptr));
        ASSERT_TRUE(victim) << GErrorPtr(error)->message;
        const auto lines =
            GPtr<GDataInputStream>::take(g_data_input_stream_new(g_subprocess_get_stdout_pipe(victim.get())));
        const auto hear = [&] {
            const GText line(g_data_input_stream_read_line(lines.get(), nullptr, nullptr, nullptr));
            if (line)
                expected.hear(line.get());
            return line != nullptr;
        };
        for (auto count = std::uniform_int_distribution(0, 9)(random); count > 0; --count)
            hear();
        std::this_thread::sleep_for(
            std::chrono::microseconds(std::uniform_int_distribution(0, 60'000)(random)));
        g_subprocess_force_exit(victim.get());
        while (hear()) {
        }
        g_subprocess_wait(victim.get(), nullptr, nullptr);
        EXPECT_EQ(g_subprocess_get_term_sig(victim.get()), SIGKILL);
    }

    std::optional<PasscodeRecord> record() {
        const auto data = MainLoop::finish(keychain.read());
        EXPECT_TRUE(!data || PasscodeRecord::parse(*data)) << "unreadable";
        return data ? PasscodeRecord::parse(*data) : std::nullopt;
    }
    static bool opens(const PasscodeRecord& record, const Kept& kept) {
        const auto key = PasscodeSeal::deriveKey(SecretText(std::string_view(kept.code)), record.salt.view(),
                                                 Passcode::iterations);
        const auto password = PasscodeSeal::open(key, record.sealed);
        return record.username == kept.username && password && password->view() == "password of " + kept.code;
    }
    /// The passcode of the record that stands, out of those that may.
    Kept identify(const std::optional<PasscodeRecord>& found) const {
        std::vector<Kept> possible = {expected.kept};
        if (expected.doing == "set")
            possible.push_back(expected.next);
        if (expected.doing == "clear" || (expected.doing == "launch" && !expected.shapeAtStart))
            possible.emplace_back();
        for (const auto& kept : possible)
            if (found ? !kept.code.empty() && opens(*found, kept) : kept.code.empty())
                return kept;
        ADD_FAILURE() << (found ? "a record of " + found->username : "no record") << " where there may be "
                      << testing::PrintToString(possible);
        return Kept();
    }
    bool isMarked() const { return !defaults.value("brisko.passcode.changing").is_null(); }
    int usedTries() {
        clock.time = expected.now;
        const auto stored = defaults.value("brisko.passcode.failures");
        if (passcode.lockedUntil())
            return Passcode::triesBeforeLockOut;
        return stored.is_null() ? 0 : stored.get<int>();
    }

    /// No try is given back, and none is counted that has not been made.
    void checkTries() {
        const auto used = usedTries();
        const auto isTrying = expected.doing == "right" || expected.doing == "wrong";
        const auto mayReset = (expected.doing == "right" && !expected.isLocked()) ||
                              expected.doing == "clear" ||
                              (expected.doing == "launch" && !expected.shapeAtStart) ||
                              (expected.doing == "set" && !isMarked()) || expected.kept.code.empty();
        EXPECT_GE(used, mayReset ? 0 : expected.usedTries);
        EXPECT_LE(used, std::min(expected.usedTries + (isTrying ? 1 : 0), Passcode::triesBeforeLockOut));
        expected.usedTries = used;
        expected.lockedUntil = passcode.lockedUntil().value_or(expected.now);
    }
    void check() {
        const auto found = record();
        const auto kept = identify(found);
        const auto shape = passcode.shape();
        if (shape && !isMarked()) {
            ASSERT_TRUE(found) << "a lost record that nobody notices";
            EXPECT_EQ(*shape, (Passcode::Shape{found->username, static_cast<int>(found->digits)}));
        }
        // A shape is missing only where there is nothing to know, or where the next start looks.
        EXPECT_TRUE(shape || isMarked() || kept.code.empty() || expected.doing == "clear" ||
                    !expected.shapeAtStart);

        checkTries();
        expected.kept = kept;
        expected.doing.clear();
    }
};

} // namespace

TEST_F(PasscodeKillTest, losesNothingHoweverOftenTheProgramIsKilled) {
    const auto seed = killRounds().seed.value_or(std::random_device()());
    std::minstd_rand random(seed);
    std::map<std::string, int> during;
    for (unsigned round = 0; round < killRounds().rounds && !HasFailure(); ++round) {
        SCOPED_TRACE("--seed " + std::to_string(seed) + ", round " + std::to_string(round));
        live(static_cast<unsigned>(random()), random);
        SCOPED_TRACE("killed during: " + expected.doing);
        during["killed during " + expected.doing] += 1;
        during["killed while the record was being written"] += isMarked() ? 1 : 0;
        check();
    }
    for (const auto& [what, count] : during)
        RecordProperty(what, count);
}
