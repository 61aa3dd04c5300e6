// Linked into the mutated tests: which mutant runs, which test reaches which mutants, and a key derivation in fewer rounds.

#include "Mutant.h"

#include <gtest/gtest.h>
#include <nettle/pbkdf2.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <vector>

int mutation::chosen = -1;
bool mutation::reached[mutation::most];

int mutation::choose() {
    const auto* text = std::getenv("MUTANT");
    return chosen = text ? std::atoi(text) : 0;
}

namespace {

/// Writes one line for each test: its name, how it ended, its milliseconds, the mutants that it reached. What is reached
/// outside a test has a line without a name.
class Recorder : public testing::EmptyTestEventListener {
public:
    explicit Recorder(const char* path) : file_(path) {}

private:
    void OnTestStart(const testing::TestInfo&) override { tellTheRest(); }
    void OnTestEnd(const testing::TestInfo& test) override {
        const auto* how = test.result()->Failed() ? "failed" : "passed";
        tell(std::string(test.test_suite_name()) + "." + test.name(), how, test.result()->elapsed_time());
    }
    void OnTestProgramEnd(const testing::UnitTest&) override { tellTheRest(); }

    void tellTheRest() {
        if (std::find(std::begin(mutation::reached), std::end(mutation::reached), true) != std::end(mutation::reached))
            tell("-", "outside", 0);
    }

    void tell(const std::string& name, const char* how, testing::TimeInMillis time) {
        file_ << name << ' ' << how << ' ' << time;
        for (int number = 0; number < mutation::most; ++number)
            if (std::exchange(mutation::reached[number], false))
                file_ << ' ' << number;
        file_ << std::endl;
    }

    std::ofstream file_;
};

const bool recording = [] {
    const auto* path = std::getenv("MUTATION_RECORD");
    if (path)
        testing::UnitTest::GetInstance()->listeners().Append(new Recorder(path));
    return path != nullptr;
}();

} // namespace

/// The library's own, RFC 8018 section 5.2, but never with more than a few rounds: they are nearly all that the tests take.
extern "C" [[gnu::visibility("default")]] void
nettle_pbkdf2(void* state, nettle_hash_update_func* update, nettle_hash_digest_func* digest, std::size_t digestSize,
              unsigned iterations, std::size_t saltLength, const std::uint8_t* salt, std::size_t length,
              std::uint8_t* key) {
    constexpr unsigned fewRounds = 8;
    std::vector<std::uint8_t> round(digestSize);
    for (std::uint32_t block = 1; length > 0; ++block) {
        const std::uint8_t number[] = {static_cast<std::uint8_t>(block >> 24U), static_cast<std::uint8_t>(block >> 16U),
                                       static_cast<std::uint8_t>(block >> 8U), static_cast<std::uint8_t>(block)};
        update(state, saltLength, salt);
        update(state, sizeof number, number);
        digest(state, digestSize, round.data());
        auto sum = round;
        for (unsigned left = std::min(iterations, fewRounds); left > 1; --left) {
            update(state, digestSize, round.data());
            digest(state, digestSize, round.data());
            for (std::size_t index = 0; index < digestSize; ++index)
                sum[index] ^= round[index];
        }
        const auto size = std::min(length, digestSize);
        key = std::copy_n(sum.begin(), size, key);
        length -= size;
    }
}
