#pragma once

#include <type_traits>

/// What a mutated source asks at every place that can be wrong: is this the one that is wrong in this run?
namespace mutation {

/// How many there can be.
inline constexpr int most = 20000;
/// The one that the environment names in MUTANT; 0 names none.
extern int chosen;
/// Those that have been asked about since somebody last looked.
extern bool reached[most];
/// Reads the environment, as others may ask before the program's own objects are made.
int choose();

/// A function of its own for each, so that the symbols of an object tell which ones it holds.
template <int number>
[[gnu::noinline]] bool asks() {
    static_assert(number < most);
    reached[number] = true;
    return (chosen < 0 ? choose() : chosen) == number;
}

} // namespace mutation

/// Where only a value at run time is wanted. No constant expression, so nothing is folded at compile time.
template <int number>
inline bool mutant() {
    return mutation::asks<number>();
}

/// In a function that is also called at compile time, where no mutant is chosen yet.
template <int number>
constexpr bool constantMutant() {
    return !std::is_constant_evaluated() && mutation::asks<number>();
}
