#pragma once

#include "platform/Error.h"
#include "reminders/agent/AgentPorts.h"
#include "reminders/linux/PermissionFile.h"
#include "reminders/linux/ReminderPlace.h"

/// Another process has the store.
class StoreInUse : public Error {
public:
    using Error::Error;
};

/// The agent's files: the list is written whole at each replacement, the log grows by a line at a time, so
/// that a delivery costs the same however long the list is.
///
/// There is one such store of a folder at a time, also where two session buses share a home.
class FileReminderStore : public ReminderStore {
public:
    /// Makes the folder. Throws Error when that is impossible, StoreInUse when another process has the store.
    explicit FileReminderStore(ReminderPlace place);
    ~FileReminderStore() override;
    FileReminderStore(const FileReminderStore&) = delete;
    FileReminderStore& operator=(const FileReminderStore&) = delete;

    PendingList loadPending() override;
    std::vector<DeliveryEvent> loadDeliveries() override;
    void savePending(const PendingList& list) override;
    void append(const std::vector<DeliveryEvent>& events) override;
    void restartLog(const std::vector<DeliveryEvent>& events) override;
    bool isPermitted() const override;

private:
    void removeRemains() const;

    ReminderPlace place_;
    PermissionFile permission_;
    int lock_ = -1;
};
