#pragma once

#include "application/linux/TourGuide.h"
#include "platform/Task.h"

#include <string>

/// The part of the tour that shows the page: its views, dialogs and themes, what it asks, and what the window
/// has around it.
class TourWeb {
public:
    /// The guide has to outlive it.
    explicit TourWeb(TourGuide& guide) : guide_(guide) {}

    /// To be called where the web application is loading, and leaves its settings open. Throws Error when
    /// something does not come.
    Task<> run();

private:
    Task<> views();
    Task<> dialogs();
    Task<> questions();
    Task<> themes();
    Task<> menus();
    Task<> sizes();
    Task<> offline();

    Task<> openDialog(const char* key, std::string name);
    Task<> closeDialog();
    Task<> chooseTheme(std::string name);
    Task<> panel(std::string script, std::string name);

    TourGuide& guide_;
};
