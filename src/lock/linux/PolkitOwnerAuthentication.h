#pragma once

#include "platform/OwnerAuthentication.h"
#include "platform/linux/SystemBus.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

/// Asks the owner through polkit, whose agent, a part of the desktop, shows the question and takes the
/// password or the finger. The program sees neither.
///
/// Security: the answer is polkit's word over the system bus, where only root can take its place. The action
/// asks for the person's own password (`auth_self`), so an administrator's does not do, and nothing is
/// retained from one question to the next.
///
/// The agent shows the text of the action's description. polkit takes another one only from root and from an
/// action's owner, which is a fixed system account, so the reason goes no further than here.
///
/// Whether an agent is there can only be found out by asking, which would show the question. The owner counts
/// as available where the action is registered and its rules say that the owner be asked, until a question
/// finds no agent; the next question looks again.
class PolkitOwnerAuthentication : public OwnerAuthentication {
public:
    /// How often a polkit that has been asked has to show that it still runs, and how long it may take.
    static constexpr std::chrono::seconds defaultPulse{10};

    /// The bus has to outlive it.
    explicit PolkitOwnerAuthentication(SystemBus& bus, std::chrono::milliseconds pulse = defaultPulse);
    PolkitOwnerAuthentication(const PolkitOwnerAuthentication&) = delete;
    PolkitOwnerAuthentication& operator=(const PolkitOwnerAuthentication&) = delete;
    ~PolkitOwnerAuthentication() override;

    Task<Kind> kind() override;
    /// Waits for as long as the person takes, but not for a polkit that has stopped. It has to outlive what
    /// it is asked, as it does once `cancelAll` has returned.
    Task<bool> authenticate(std::string reason) override;

    void withdraw() override;
    /// Takes the questions off the screen and answers them with false before it returns; later ones at once.
    void cancelAll();

private:
    struct Question;

    SystemBus& bus_;
    std::chrono::milliseconds pulse_;
    std::vector<std::weak_ptr<Question>> open_;
    unsigned asked_ = 0;
    bool agentMissing_ = false;
    bool ended_ = false;
};
