#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// A story told as a table. A row says what somebody does and, word for word, what has changed by it:
/// whatever it does not name has stayed as it was.
class Scenario {
public:
    /// What is looked at: names, always the same, and what is seen there; "" is nothing, "yes" needs no more
    /// words.
    using Sight = std::vector<std::pair<std::string, std::string>>;
    using Deeds = std::map<std::string, std::function<void(const std::string& rest)>>;
    struct Row {
        std::string deeds;   ///< "word rest, word rest": each is one of the deeds, and what it is told
        std::string changes; ///< "name what; no name"; before them what a deed has said
    };

    Scenario(std::function<Sight()> look, Deeds deeds) : look_(std::move(look)), deeds_(std::move(deeds)) {}

    std::string said; ///< what a deed answers

    static std::string flag(bool isSet) { return isSet ? "yes" : ""; }
    static std::string list(const std::vector<std::string>& texts) {
        std::string all;
        for (const auto& text : texts)
            all += (all.empty() ? "" : " ") + text;
        return all;
    }

    void play(const std::vector<Row>& rows) {
        auto before = look_();
        for (const auto& row : rows) {
            for (std::size_t start = 0; start <= row.deeds.size();) {
                const auto end = std::min(row.deeds.find(", ", start), row.deeds.size());
                perform(row.deeds.substr(start, end - start));
                start = end + 2;
            }
            auto after = look_();
            EXPECT_EQ(changes(before, after), row.changes) << "after \"" << row.deeds << "\"";
            before = std::move(after);
        }
    }

private:
    void perform(const std::string& deed) {
        const auto space = std::min(deed.find(' '), deed.size());
        deeds_.at(deed.substr(0, space))(deed.substr(std::min(space + 1, deed.size())));
    }
    std::string changes(const Sight& before, const Sight& after) {
        auto text = std::exchange(said, {});
        for (std::size_t index = 0; index < after.size(); ++index) {
            const auto& [name, seen] = after[index];
            if (seen == before.at(index).second)
                continue;
            text += text.empty() ? "" : "; ";
            text += seen.empty() ? "no " + name : seen == "yes" ? name : name + " " + seen;
        }
        return text;
    }

    std::function<Sight()> look_;
    Deeds deeds_;
};
