#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <string_view>

/// The seed of everything random in a test: the same each time, unless BRISKO_SEED gives another.
inline unsigned testSeed() {
    const auto* given = std::getenv("BRISKO_SEED");
    return given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : 20'270'115U;
}

/// Checks what has to hold for everything that `make` makes of random numbers, until it once does not.
template <class Make, class Check>
void forAll(int rounds, Make make, Check check) {
    std::mt19937_64 random(testSeed());
    for (int round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
        const testing::ScopedTrace trace(__FILE__, __LINE__,
                                         "round " + std::to_string(round) +
                                             ", BRISKO_SEED=" + std::to_string(testSeed()));
        check(make(random));
    }
}

/// Checks what has to hold for the text with each of its bytes changed, to whatever else a JSON text is made
/// of and to what none is.
template <class Check>
void forEachChangedByte(std::string text, Check check) {
    using namespace std::string_view_literals;
    constexpr auto others = "0123456789eE+-.,:\"\\[]{}tfn \n\x80\xff\0"sv;
    for (auto& byte : text) {
        const auto before = byte;
        for (const auto other : others) {
            byte = other;
            const testing::ScopedTrace trace(__FILE__, __LINE__, text);
            if (!testing::Test::HasFailure())
                check(text);
        }
        byte = before;
    }
}

/// A number from `least` to `most`, both included.
template <class Integer>
Integer anyOf(std::mt19937_64& random, Integer least, Integer most) {
    return std::uniform_int_distribution<Integer>(least, most)(random);
}

/// A text of up to `most` characters, of those that texts go wrong with: quotes, controls, escapes, several
/// bytes each.
inline std::string anyText(std::mt19937_64& random, int most = 12) {
    using namespace std::string_view_literals;
    static constexpr std::string_view characters[] = {"a",  "Z",    "0",  "e9",     " ",      ".",      "/",
                                                      "\\", "\"",   "\n", "\t",     "\0"sv,   "<",      "&",
                                                      "%",  "\x7f", "é",  "\u202e", "\u2028", "\ufffd", "🙂"};
    std::string text;
    for (auto count = anyOf(random, 0, most); count > 0; --count)
        text += characters[anyOf<std::size_t>(random, 0, std::size(characters) - 1)];
    return text;
}
