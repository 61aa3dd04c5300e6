#pragma once

#include "platform/PrintJob.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Small questions and messages over the window: sheets of it, in front of a sheet that is there already.
class Panels {
public:
    /// An open panel. Letting go of it closes the panel without an answer.
    using Handle = std::shared_ptr<void>;

    struct FileChoice {
        bool multiple = false;
        bool folders = false;           ///< folders may be chosen too; files always may
        std::vector<std::string> types; ///< MIME types to show first; all files when empty
    };

    virtual ~Panels() = default;

    /// A message with the one button "OK". `closed` is called once, when the person has closed it.
    [[nodiscard]] virtual Handle alert(const std::string& title, const std::string& message,
                                       std::function<void()> closed) = 0;
    /// A question with "OK" and "Cancel". `answered` is called once, with whether "OK" closed it.
    [[nodiscard]] virtual Handle confirm(const std::string& title, const std::string& message,
                                         std::function<void(bool)> answered) = 0;
    /// A question for one line of text, which is `suggestion` at first. `answered` is called once; with none
    /// when the person gave up.
    [[nodiscard]] virtual Handle prompt(const std::string& title, const std::string& message,
                                        const std::string& suggestion,
                                        std::function<void(std::optional<std::string>)> answered) = 0;
    /// Asks how to print, and has it printed unless the person gives up. `closed` is called once.
    [[nodiscard]] virtual Handle print(std::shared_ptr<PrintJob> job, std::function<void()> closed) = 0;
    /// Asks for files that exist. `chosen` is called once; with none when the person gave up.
    [[nodiscard]] virtual Handle
    chooseFiles(const FileChoice& choice, std::function<void(std::vector<std::filesystem::path>)> chosen) = 0;
};
