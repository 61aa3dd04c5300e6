#pragma once

#include "fakes/FakeAccount.h"
#include "fakes/FakeDownloads.h"
#include "fakes/FakeLock.h"
#include "fakes/FakeNotifications.h"
#include "lock/AppLock.h"
#include "web/WebShell.h"

/// Everything that a page of the program works with, on the fake platform.
struct FakeProgram {
    FakeAccount account;
    FakeWindow window;
    FakeClock clock;
    FakeMainQueue queue;
    FakeKeychain keychain;
    Passcode passcode{keychain, account.defaults, clock, deriveInOneRound};
    FakePanels panels;
    FakeDock dock;
    FakeDownloadFolder folder;
    std::shared_ptr<Downloads> downloads = Downloads::make(folder, dock, panels);
    FakeOwnerAuthentication owner;
    std::shared_ptr<AppLock> appLock = AppLock::make(account.defaults, owner, window, queue);
    FakeNotificationQuestion question;
    FakeNotificationCenter center{question};
    FakeTimeZone zone;
    Notifications notifications{center, queue};
    Reminders reminders{center, dock, clock, zone};

    Bridge::Surroundings bridge() {
        return {notifications, reminders, *appLock, passcode, account.remembered, account.defaults};
    }
    WebShell::Surroundings shell() {
        return {account.api, account.webData, account.workspace, panels, *downloads, queue, clock, bridge()};
    }
};
