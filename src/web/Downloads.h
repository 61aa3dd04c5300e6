#pragma once

#include "platform/Dock.h"
#include "platform/Download.h"
#include "platform/DownloadFolder.h"
#include "platform/Panels.h"
#include "platform/Task.h"

#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// The downloads of the program, from whichever page they come, until their files are in the person's folder.
///
/// A download is written into a hidden file beside its target and gets its name, which it has reserved since
/// it began, when it is whole: no half file ever stands under a final name, none is ever replaced, and two
/// downloads of one name get two. What does not finish leaves nothing behind.
///
/// A failure is told by an alert, one at a time; one that says what is being said already adds nothing, so
/// that fifty downloads on a full disk make one alert. A download that somebody cancelled, or that has no
/// folder to go to, ends in silence.
class Downloads : public std::enable_shared_from_this<Downloads> {
public:
    /// The ports have to outlive it. A download holds it weakly.
    static std::shared_ptr<Downloads> make(DownloadFolder& folder, Dock& dock, Panels& panels);

    /// Follows the download to its end and keeps it until then.
    void take(std::shared_ptr<Download> download);
    /// At the program's end: cancels what is under way and discards what has come of it; closes an open
    /// alert. What is taken later is cancelled at once.
    void end();

private:
    struct Entry {
        std::shared_ptr<Download> download;
        std::string suggestedName;
        std::filesystem::path target; ///< reserved; empty until it has begun
        std::filesystem::path partial;
        std::optional<double> progress; ///< none while its length is unknown
        bool whole = false;             ///< only its name is missing
    };

    Downloads(DownloadFolder& folder, Dock& dock, Panels& panels)
        : folder_(folder), dock_(dock), panels_(panels) {}

    std::optional<std::filesystem::path> decideDestination(Entry& entry, const std::string& suggestedName);
    static Task<> arrive(std::shared_ptr<Downloads> self, std::shared_ptr<Entry> entry);
    void failed(const Entry& entry, const std::string& description);
    /// Puts the file under its name or, when that is taken by now, under the next that is not.
    void place(const Entry& entry);
    void placeAtLast(const Entry& entry);
    bool isReserved(const std::filesystem::path& file) const;
    void remove(const Entry& entry);
    void discard(const Entry& entry);
    void showProgress();
    void report(const std::string& description);
    void showReport();

    DownloadFolder& folder_;
    Dock& dock_;
    Panels& panels_;
    std::vector<std::shared_ptr<Entry>> entries_;
    std::optional<long> shownPercent_;
    std::deque<std::string> reports_; ///< the first one is on the screen
    Panels::Handle alert_;
    bool ended_ = false;
};
