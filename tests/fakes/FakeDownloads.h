#pragma once

#include "fakes/Gate.h"
#include "platform/Dock.h"
#include "platform/Download.h"
#include "platform/DownloadFolder.h"
#include "platform/Panels.h"
#include "platform/Task.h"

#include <set>

/// Notes what the icon shows.
class FakeDock : public Dock {
public:
    int badge = 0;
    std::vector<std::optional<double>> told; ///< every progress

    void setBadge(int count) override { badge = count; }
    void setProgress(std::optional<double> fraction) override { told.push_back(fraction); }
};

/// A folder in memory, with the names of the files in it. What has arrived may be held up before it is on the
/// disk.
class FakeDownloadFolder : public DownloadFolder, public Gate {
public:
    std::optional<std::filesystem::path> folder = "/home/ada/Downloads";
    std::set<std::filesystem::path> files;
    std::vector<std::filesystem::path> announced;

    std::optional<std::filesystem::path> path() override { return folder; }
    bool exists(const std::filesystem::path& file) const override { return files.contains(file); }
    Task<> settle(std::filesystem::path) override { return pass(); }
    bool place(const std::filesystem::path& partial, const std::filesystem::path& file) override {
        if (!files.contains(partial))
            throw Error("No such file or directory");
        if (!files.insert(file).second)
            return false;
        files.erase(partial);
        return true;
    }
    void discard(const std::filesystem::path& partial) override { files.erase(partial); }
    void announce(const std::filesystem::path& file) override { announced.push_back(file); }

    /// The names in the folder, in alphabetical order.
    std::vector<std::string> names() const {
        std::vector<std::string> result;
        result.reserve(files.size());
        for (const auto& file : files)
            result.push_back(file.filename());
        return result;
    }
};

/// A download that the test drives: `begin`, then one of `finish`, `fail` and `cancel`. It writes into the
/// fake folder, and ends only once.
class FakeDownload : public Download {
public:
    explicit FakeDownload(FakeDownloadFolder& disk) : disk_(disk) {}

    bool cancelled = false;

    /// Asks where to; the file is there from then on, unless the answer has cancelled the download.
    void begin(const std::string& suggestedName) {
        const auto destination = decideDestination(suggestedName);
        if (!destination)
            cancel();
        else if (!cancelled)
            disk_.files.insert(*destination);
    }
    void progress(double fraction) { onProgress(fraction); }
    void finish() { end(onFinished); }
    void fail(const Error& error) { end(onFailed, error); }
    void cancel() override {
        cancelled = cancelled || !ended_;
        end(onCancelled);
    }

private:
    template <class Told, class... What>
    void end(const Told& told, const What&... what) {
        if (!std::exchange(ended_, true) && told)
            told(what...);
    }

    FakeDownloadFolder& disk_;
    bool ended_ = false;
};

/// Panels that stay open until the test answers them or their handle is let go.
class FakePanels : public Panels {
public:
    using Paths = std::vector<std::filesystem::path>;
    struct Panel {
        std::string title;
        std::string message;
        FileChoice choice;
        std::function<void(bool ok, Paths paths)> answer;
        std::shared_ptr<PrintJob> job = nullptr;
    };

    int shown = 0; ///< since the start

    Handle alert(const std::string& title, const std::string& message,
                 std::function<void()> closed) override {
        return show({title, message, {}, [closed](bool, const auto&) { closed(); }});
    }
    Handle confirm(const std::string& title, const std::string& message,
                   std::function<void(bool)> answered) override {
        return show({title, message, {}, [answered](bool ok, const auto&) { answered(ok); }});
    }
    Handle prompt(const std::string& title, const std::string& message, const std::string& suggestion,
                  std::function<void(std::optional<std::string>)> answered) override {
        const auto end = [=](bool ok, const auto&) {
            answered(ok ? std::optional(suggestion + "!") : std::nullopt);
        };
        return show({title, message, {}, end});
    }
    Handle print(std::shared_ptr<PrintJob> job, std::function<void()> closed) override {
        return show({"Print", "", {}, [closed](bool, const auto&) { closed(); }, std::move(job)});
    }
    Handle chooseFiles(const FileChoice& choice, std::function<void(Paths)> chosen) override {
        return show({"", "", choice, [chosen](bool, auto paths) { chosen(std::move(paths)); }});
    }

    /// Those on the screen, the oldest first.
    std::vector<std::shared_ptr<Panel>> open() const {
        std::vector<std::shared_ptr<Panel>> result;
        for (const auto& entry : panels_)
            if (auto panel = entry.lock())
                result.push_back(std::move(panel));
        return result;
    }
    /// What a person does with the oldest one on the screen: "OK" or the other way out, and the files that
    /// were chosen.
    void answer(bool ok = true, Paths paths = {}) {
        const auto panel = open().at(0);
        std::erase_if(panels_, [&](const auto& entry) { return entry.lock() == panel; });
        panel->answer(ok, std::move(paths));
    }

private:
    Handle show(Panel panel) {
        shown += 1;
        auto entry = std::make_shared<Panel>(std::move(panel));
        panels_.push_back(entry);
        return entry;
    }

    std::vector<std::weak_ptr<Panel>> panels_;
};
