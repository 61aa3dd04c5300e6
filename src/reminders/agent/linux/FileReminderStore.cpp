#include "reminders/agent/linux/FileReminderStore.h"

#include "platform/Error.h"
#include "platform/linux/DurableFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/// A process that is just ending has its store for a moment longer.
constexpr auto lockPatience = 2s;
constexpr auto lockPause = 20ms;

bool lock(int descriptor) {
    const auto deadline = std::chrono::steady_clock::now() + lockPatience;
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(lockPause);
    }
    return true;
}

std::string textOf(const std::vector<DeliveryEvent>& events) {
    std::string text;
    for (const auto& event : events)
        text += event.encode() + "\n";
    return text;
}

} // namespace

FileReminderStore::FileReminderStore(ReminderPlace place)
    : place_(std::move(place)), permission_(place_.permissionFile()) {
    DurableFile::makePrivateFolder(place_.folder);
    lock_ = ::open(place_.lockFile().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (lock_ < 0)
        throw Error("There is no place for reminders in '" + place_.folder.string() +
                    "': " + std::strerror(errno));
    if (!lock(lock_)) {
        ::close(lock_);
        throw StoreInUse("Another process has the reminders in '" + place_.folder.string() + "'.");
    }
    removeRemains();
}

FileReminderStore::~FileReminderStore() {
    ::close(lock_);
}

/// A process that is killed while it writes leaves the new file beside the old one.
void FileReminderStore::removeRemains() const {
    std::error_code failure;
    for (const auto& entry : fs::directory_iterator(place_.folder, failure)) {
        const auto name = entry.path().filename().string();
        for (const auto& file : {place_.pendingFile(), place_.logFile()})
            if (name.starts_with(file.filename().string() + ".new-"))
                fs::remove(entry.path(), failure);
    }
}

PendingList FileReminderStore::loadPending() {
    const auto text = DurableFile::read(place_.pendingFile());
    if (!text)
        return {};
    if (auto list = PendingList::decode(*text))
        return std::move(*list);
    DurableFile::setAside(place_.pendingFile());
    return {};
}

std::vector<DeliveryEvent> FileReminderStore::loadDeliveries() {
    std::vector<DeliveryEvent> events;
    const auto text = DurableFile::read(place_.logFile());
    if (!text)
        return events;
    bool isBroken = false;
    std::size_t start = 0;
    for (auto end = text->find('\n'); end != std::string::npos; end = text->find('\n', start)) {
        if (const auto event = DeliveryEvent::decode(text->substr(start, end - start)))
            events.push_back(*event);
        else
            isBroken = true;
        start = end + 1;
    }
    if (isBroken) {
        DurableFile::setAside(place_.logFile());
        restartLog(events);
    } else if (start < text->size()) {
        // The machine went down while a line was written: it says nothing that has been acted on.
        fs::resize_file(place_.logFile(), start);
    }
    return events;
}

void FileReminderStore::savePending(const PendingList& list) {
    if (list.reminders.empty())
        DurableFile::remove(place_.pendingFile());
    else
        DurableFile::write(place_.pendingFile(), list.encode());
}

void FileReminderStore::append(const std::vector<DeliveryEvent>& events) {
    // What is on the screen goes with the machine. A click on it is not to wait for the disk.
    const auto isOfTheScreen = [](const DeliveryEvent& event) {
        return event.kind == DeliveryEvent::Kind::shown || event.kind == DeliveryEvent::Kind::closed;
    };
    DurableFile::append(place_.logFile(), textOf(events),
                        std::ranges::all_of(events, isOfTheScreen) ? DurableFile::Outlives::program
                                                                   : DurableFile::Outlives::machine);
}

void FileReminderStore::restartLog(const std::vector<DeliveryEvent>& events) {
    DurableFile::write(place_.logFile(), textOf(events));
}

bool FileReminderStore::isPermitted() const {
    return permission_.read() == NotificationPermission::authorized;
}
