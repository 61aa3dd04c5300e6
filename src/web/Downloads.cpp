#include "web/Downloads.h"

#include "platform/Error.h"
#include "web/DownloadName.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

namespace fs = std::filesystem;

constexpr auto failureTitle = "The download did not finish";
constexpr auto percent = 100.0;

} // namespace

std::shared_ptr<Downloads> Downloads::make(DownloadFolder& folder, Dock& dock, Panels& panels) {
    return std::shared_ptr<Downloads>(new Downloads(folder, dock, panels));
}

void Downloads::take(std::shared_ptr<Download> download) {
    if (ended_) {
        download->cancel();
        return;
    }
    const auto entry = std::make_shared<Entry>();
    entry->download = download;
    entries_.push_back(entry);

    // The entry lasts as long as the download is followed; after that nothing more happens to it.
    const auto follow = [owner = weak_from_this(), kept = std::weak_ptr(entry)](auto what) {
        const auto self = owner.lock();
        const auto followed = kept.lock();
        if (self && followed)
            what(*self, followed);
    };
    download->decideDestination = [follow](const std::string& name) {
        std::optional<fs::path> answer;
        follow([&](auto& self, const auto& followed) { answer = self.decideDestination(*followed, name); });
        return answer;
    };
    download->onProgress = [follow](double fraction) {
        follow([fraction](auto& self, const auto& followed) {
            followed->progress = std::clamp(std::isnan(fraction) ? 0.0 : fraction, 0.0, 1.0);
            self.showProgress();
        });
    };
    download->onFinished = [follow] {
        follow([](auto& self, const auto& followed) { spawn(arrive(self.shared_from_this(), followed)); });
    };
    download->onFailed = [follow](const Error& error) {
        follow([&error](auto& self, const auto& followed) {
            self.failed(*followed, localizedDescription(error));
        });
    };
    download->onCancelled = [follow] {
        follow([](auto& self, const auto& followed) {
            self.discard(*followed);
            self.remove(*followed);
        });
    };
}

void Downloads::end() {
    ended_ = true;
    reports_.clear();
    alert_.reset();
    const auto entries = std::exchange(entries_, {});
    for (const auto& entry : entries) {
        if (entry->whole)
            placeAtLast(*entry);
        else
            entry->download->cancel();
        discard(*entry);
    }
    showProgress();
}

void Downloads::placeAtLast(const Entry& entry) {
    try {
        place(entry);
    } catch (const Error&) {
        // There is nobody left to tell.
    }
}

std::optional<fs::path> Downloads::decideDestination(Entry& entry, const std::string& suggestedName) {
    try {
        const auto folder = folder_.path();
        if (!folder)
            return std::nullopt;
        const auto taken = [this](const fs::path& file) { return isReserved(file) || folder_.exists(file); };
        entry.suggestedName = suggestedName;
        entry.target = DownloadName::unused(suggestedName, *folder, taken);
        entry.partial = DownloadName::partial(entry.target, taken);
        return entry.partial;
    } catch (const Error& error) {
        report(localizedDescription(error));
        return std::nullopt;
    }
}

bool Downloads::isReserved(const fs::path& file) const {
    return std::any_of(entries_.begin(), entries_.end(), [&file](const auto& entry) {
        return entry->target == file || entry->partial == file;
    });
}

Task<> Downloads::arrive(std::shared_ptr<Downloads> self, std::shared_ptr<Entry> entry) {
    entry->whole = true;
    try {
        co_await self->folder_.settle(entry->partial);
        if (self->ended_)
            co_return;
        self->place(*entry);
        self->remove(*entry);
    } catch (const Error& error) {
        self->failed(*entry, localizedDescription(error));
    }
}

void Downloads::place(const Entry& entry) {
    auto target = entry.target;
    std::set<fs::path> tried;
    while (!folder_.place(entry.partial, target)) {
        tried.insert(target);
        const auto taken = [&](const fs::path& file) {
            return tried.contains(file) || isReserved(file) || folder_.exists(file);
        };
        target = DownloadName::unused(entry.suggestedName, entry.target.parent_path(), taken);
    }
    folder_.announce(target);
}

void Downloads::failed(const Entry& entry, const std::string& description) {
    discard(entry);
    remove(entry);
    report(description);
}

void Downloads::discard(const Entry& entry) {
    if (!entry.partial.empty())
        folder_.discard(entry.partial);
}

void Downloads::remove(const Entry& entry) {
    std::erase_if(entries_, [&entry](const auto& kept) { return kept.get() == &entry; });
    showProgress();
}

void Downloads::showProgress() {
    double sum = 0;
    int known = 0;
    for (const auto& entry : entries_) {
        sum += entry->progress.value_or(0);
        known += entry->progress ? 1 : 0;
    }
    // Data may arrive a thousand times a second; the icon is told of whole steps that can be seen.
    const auto shown = known == 0 ? std::nullopt : std::optional(std::lround(sum / known * percent));
    if (shown == shownPercent_)
        return;
    shownPercent_ = shown;
    dock_.setProgress(shown ? std::optional(static_cast<double>(*shown) / percent) : std::nullopt);
}

void Downloads::report(const std::string& description) {
    if (ended_ || std::find(reports_.begin(), reports_.end(), description) != reports_.end())
        return;
    reports_.push_back(description);
    if (reports_.size() == 1)
        showReport();
}

void Downloads::showReport() {
    alert_ = panels_.alert(failureTitle, reports_.front(), [owner = weak_from_this()] {
        const auto self = owner.lock();
        if (!self || self->reports_.empty())
            return;
        self->alert_.reset();
        self->reports_.pop_front();
        if (!self->reports_.empty())
            self->showReport();
    });
}
