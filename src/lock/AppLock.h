#pragma once

#include "lock/LockPreferences.h"
#include "platform/MainQueue.h"
#include "platform/OwnerAuthentication.h"
#include "platform/Task.h"
#include "platform/Turns.h"
#include "platform/UserDefaults.h"
#include "platform/Window.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// The lock that the system opens: while it is switched on, a cover hides the window whenever the program is
/// not the active one, and at each activation the owner proves to the desktop who they are before the cover
/// goes. It has nothing to do with the passcode.
///
/// The desktop's question is a window of its own, so it may take the activity from the program and give it
/// back when it closes. The activation that this brings asks nothing: it would ask for ever. It only takes
/// the cover away, where the answer was a proof.
class AppLock : public std::enable_shared_from_this<AppLock> {
public:
    struct Biometry {
        bool available = false;
        std::string kind; ///< "touchId", "passcode" or "none"
    };

    /// How long after an answer an activation may still be the one that the closing question brings.
    static constexpr std::chrono::seconds returnTime{5};

    /// All of it has to outlive the lock, the authentication also what it has been asked.
    static std::shared_ptr<AppLock> make(UserDefaults& defaults, OwnerAuthentication& owner, Window& window,
                                         MainQueue& queue);

    /// The program is no longer the active one, or not yet.
    void hide();
    /// The program has become the active one. Asks at most one question at a time; what is not proved stays
    /// covered until the next activation.
    void challenge();
    /// Asks the owner, saying why (a phrase such as "unlock brisko"). One question at a time: others wait for
    /// their turn. False also when nobody can be asked.
    Task<bool> prove(std::string reason);
    /// As `prove`, on behalf of the page, which has to be seen and gets one question at a time: false while
    /// the window is locked or covered, the program is not the active one, or somebody is being asked
    /// already. A question that unlocks the window takes its place.
    Task<bool> proveForPage(std::string reason);
    /// The desktop has been locked, or the machine goes to sleep: whoever comes back has to prove who they
    /// are.
    void cover();
    /// The lock has been switched on. Whoever is not there has to prove who they are.
    void switchedOn();
    /// How the owner can be asked, in the words that the page knows.
    Task<Biometry> biometry();

private:
    AppLock(UserDefaults& defaults, OwnerAuthentication& owner, Window& window, MainQueue& queue);

    Task<> unlock();
    void awaitReturn(bool proved);

    LockPreferences preferences_;
    OwnerAuthentication& owner_;
    Window& window_;
    MainQueue& queue_;
    Turns turns_;
    bool active_ = false;
    bool prompting_ = false;
    bool pageAsks_ = false;
    int asking_ = 0;
    std::optional<bool> answer_; ///< of a question that may be giving the activity back just now
    std::uint64_t answers_ = 0;
};
