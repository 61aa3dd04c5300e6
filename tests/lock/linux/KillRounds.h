#pragma once

#include <optional>

/// What the command line says about the kill test.
struct KillRounds {
    unsigned rounds = 60;
    std::optional<unsigned> seed; ///< none for another one each time
};

inline KillRounds& killRounds() {
    static KillRounds value;
    return value;
}
