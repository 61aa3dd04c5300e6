#include "web/NavigationPolicy.h"

#include <benchmark/benchmark.h>

namespace {

/// Every frame of a page waits for this decision before it loads.
void decideNavigation(benchmark::State& state, const char* url) {
    NavigationAction action;
    action.url = url;
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(NavigationDecision::decide(action, "brisko.example"));
}

BENCHMARK_CAPTURE(decideNavigation, ownPage, "https://brisko.example/tasks?list=today&sort=due#task-42");
BENCHMARK_CAPTURE(decideNavigation, escapedByTheEngine,
                  "https://brisko.example/tasks?filter[list]=home|work");
BENCHMARK_CAPTURE(decideNavigation, foreignPage,
                  "https://elsewhere.example/a/long/path/to/a/page?with=a&query=string");

} // namespace

BENCHMARK_MAIN();
