#pragma once

#include "platform/Task.h"

#include <gtkmm/window.h>

#include <filesystem>
#include <functional>
#include <string>

class AuthScreen;
class GtkWebView;
class LockSettingsView;
class PasscodeScreen;
class Program;

/// What the tour can do and see. It waits for what it wants to see, and before a picture for the moment in
/// which colours fade; what does not come throws Error with a sentence that names it.
class TourGuide {
public:
    /// The pictures go to `folder`, which is made when it is missing. The program has to outlive the guide.
    TourGuide(std::filesystem::path folder, Program& program);

    Program& program() { return program_; }
    int pictures() const { return pictures_; }
    const std::filesystem::path& folder() const { return folder_; }

    /// The screens as they stand in the window; the passcode screen in the sheet comes first, null when there
    /// is none.
    AuthScreen& authScreen();
    /// The panel in the sheet; there has to be one.
    LockSettingsView& lockSettings();
    PasscodeScreen* passcodeScreen();
    GtkWebView& page();

    /// Comes back once the condition holds; throws Error naming `what` when it does not within half a minute.
    Task<> until(std::string what, std::function<bool()> condition);
    /// The same for a script's value in the page.
    Task<> untilInPage(std::string what, std::string script);
    /// Presses "Sign out" in the dialog that is open in the page.
    Task<> signOutInPage();
    /// Comes back once the sign-in screen has the window.
    Task<> untilSignIn();
    /// Saves a picture of the main window, or of another one that stays until it is taken.
    Task<> picture(std::string name);
    Task<> picture(std::string name, Gtk::Window& window);
    Task<> pressInPage(std::string key, bool shift);
    Task<> clickInPage(std::string selector);

private:
    /// Comes back when what has changed has been drawn and stands still.
    Task<> drawn();

    std::filesystem::path folder_;
    Program& program_;
    int pictures_ = 0;
};
