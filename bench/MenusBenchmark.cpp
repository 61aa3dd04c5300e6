#include "application/Menus.h"
#include "fakes/FakePlatform.h"

#include <benchmark/benchmark.h>

namespace {

/// A page may report a map of any size at any time, and the window has to go on drawing: a frame takes 16 ms.
void adoptBindings(benchmark::State& state) {
    FakeUserDefaults defaults;
    const LockShortcut lockShortcut(defaults);
    Menus menus(lockShortcut);
    Shortcuts one;
    for (int i = 0; i < state.range(0); ++i)
        one["action " + std::to_string(i)] = "mod+shift+k";
    auto other = one;
    for (const auto action : MenuActions::all) {
        one[std::string(MenuActions::rawValue(action))] = "alt+t";
        other[std::string(MenuActions::rawValue(action))] = "mod+shift+u";
    }
    for ([[maybe_unused]] auto _ : state) {
        menus.adopt(one);
        menus.adopt(other);
    }
}

BENCHMARK(adoptBindings)->Arg(5)->Arg(10'000);

} // namespace

BENCHMARK_MAIN();
