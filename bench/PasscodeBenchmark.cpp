/// What the passcode store costs beside the key derivation that it cannot do without. The platform is in
/// memory: what a disk and a keyring take is theirs. Prints the ratios of the medians of one run. All of it
/// is work of one thread, so the processor's time counts, which is the same on a busy machine.

#include "lock/PasscodeStore.h"

#include <benchmark/benchmark.h>
#include <nettle/pbkdf2.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr auto code = "246802";
constexpr auto limit = 1.1;

void deriveKey(benchmark::State& state) {
    const std::array<std::uint8_t, Passcode::saltBytes> salt = {};
    std::array<std::uint8_t, 32> key = {};
    const auto* text = reinterpret_cast<const std::uint8_t*>(code);
    for ([[maybe_unused]] auto _ : state) {
        pbkdf2_hmac_sha256(std::strlen(code), text, Passcode::iterations, salt.size(), salt.data(),
                           key.size(), key.data());
        benchmark::DoNotOptimize(key);
    }
}

void unlock(benchmark::State& state) {
    PasscodeStore store(Passcode::deriveKey);
    store.set(code);
    for ([[maybe_unused]] auto _ : state) {
        if (store.unlock(code) != "ann: secret") {
            state.SkipWithError("the passcode does not open the seal");
            break;
        }
    }
}

void set(benchmark::State& state) {
    PasscodeStore store(Passcode::deriveKey);
    for ([[maybe_unused]] auto _ : state) {
        if (store.set(code) != "done") {
            state.SkipWithError("the passcode is not set");
            break;
        }
    }
}

BENCHMARK(deriveKey)->Unit(benchmark::kMillisecond);
BENCHMARK(unlock)->Unit(benchmark::kMillisecond);
BENCHMARK(set)->Unit(benchmark::kMillisecond);

/// Shows what the console shows, and keeps the medians.
class Medians : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& run : runs)
            if (run.aggregate_name == "median")
                times_[run.run_name.function_name] = run.GetAdjustedCPUTime();
    }
    void printRatio(const std::string& name) const {
        std::printf("%s / deriveKey = %.3f (limit %.1f)\n", name.c_str(),
                    times_.at(name) / times_.at("deriveKey"), limit);
    }

private:
    std::map<std::string, double> times_;
};

} // namespace

int main(int count, char** given) {
    std::vector<char*> arguments(given, given + count);
    // The three take turns, so that what else the machine does falls on all of them alike.
    std::string defaults[] = {"--benchmark_repetitions=15", "--benchmark_enable_random_interleaving=true",
                              "--benchmark_min_time=0.1", "--benchmark_display_aggregates_only=true"};
    for (auto& option : defaults)
        arguments.insert(arguments.begin() + 1, option.data());
    auto size = static_cast<int>(arguments.size());
    benchmark::Initialize(&size, arguments.data());
    Medians medians;
    benchmark::RunSpecifiedBenchmarks(&medians);
    medians.printRatio("unlock");
    medians.printRatio("set");
}
