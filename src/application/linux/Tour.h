#pragma once

#include "application/linux/TourGuide.h"
#include "platform/Task.h"

#include <filesystem>
#include <functional>

/// Walks the real program through its screens by itself, as a person would, and saves a picture of each.
///
/// A step that does not come ends the tour as failed, with a line on stderr that names it.
class Tour {
public:
    /// The pictures go to `folder`, which is made when it is missing. The program has to outlive the tour.
    Tour(const std::filesystem::path& folder, Program& program);

    /// Walks to the end, then calls `finished` once.
    Task<> run(std::function<void(bool succeeded)> finished);

private:
    Task<> signInMode();
    Task<> signUpMode();
    Task<> resetMode();
    Task<> googlePanel();
    Task<> passcodeOffer();
    Task<> passcodeChange();
    Task<> signOut();
    Task<> passcodeUnlock();
    Task<> passcodeLockOut();
    Task<> passcodeOff();

    TourGuide guide_;
};
