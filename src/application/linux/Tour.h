#pragma once

#include "platform/Task.h"

#include <gtkmm/window.h>

#include <filesystem>
#include <functional>
#include <string>

class AuthScreen;
class GtkWebView;
class Program;

/// Walks the real program through its screens by itself, as a person would, and saves a picture of each.
///
/// It waits for what it wants to see, and before a picture for the moment in which colours fade. A step that does not come
/// ends the tour as failed, with a line on stderr that names it.
class Tour {
public:
    /// The pictures go to `folder`, which is made when it is missing. The program has to outlive the tour.
    Tour(std::filesystem::path folder, Program& program);

    /// Walks to the end, then calls `finished` once.
    Task<> run(std::function<void(bool succeeded)> finished);

private:
    Task<> signInMode();
    Task<> signUpMode();
    Task<> resetMode();
    Task<> googlePanel();
    Task<> webApplication();
    Task<> signOut();

    AuthScreen& authScreen();
    GtkWebView& page();

    /// Comes back once the condition holds; throws Error naming `what` when it does not within half a minute.
    Task<> until(std::string what, std::function<bool()> condition);
    /// The same for a script's value in the page.
    Task<> untilInPage(std::string what, std::string script);
    /// Comes back when what has changed has been drawn and stands still.
    Task<> drawn();
    /// Saves a picture of the main window, or of another one that stays until it is taken.
    Task<> picture(std::string name);
    Task<> picture(std::string name, Gtk::Window& window);
    Task<> pressInPage(std::string key, bool shift);
    Task<> clickInPage(std::string selector);

    std::filesystem::path folder_;
    Program& program_;
    int pictures_ = 0;
};
