#pragma once

#include "platform/Task.h"

class TourGuide;

/// The part of the tour that shows the locks: what lies over the page, and the panel in each of its states.
class TourLocks {
public:
    /// The guide has to outlive it.
    explicit TourLocks(TourGuide& guide) : guide_(guide) {}

    /// To be called where the web application is shown without a sheet, with `passcode` set, and leaves it
    /// there. Throws Error when something does not come.
    Task<> run(const char* passcode);

private:
    Task<> overlay(const char* passcode);
    Task<> cover();
    Task<> settings();

    TourGuide& guide_;
};
