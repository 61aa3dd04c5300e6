#include "demo/State.h"
#include "platform/linux/GPtr.h"

#include <glib.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <string_view>

namespace Demo {

namespace {

struct SeedTask {
    const char* title;
    const char* notes;
    const char* list;
    const char* status;
    std::optional<int> days; ///< due this many days after today
    const char* time;        ///< "" for all day
};

// The account is shown to everybody who tries the program, so the password is no secret.
constexpr const char* seedUsername = "ada";
constexpr const char* seedEmail = "ada@brisko.example";
constexpr const char* seedPassword = "lovelace-1843";

const SeedTask seedTasks[] = {
    {"Send the revised table of operations to Charles",
     "Note G, the Bernoulli numbers. Check the sign in step 4.", "Engine", "doing", -1, "17:00"},
    {"Proofread the translation, chapters 2 and 3", "", "Writing", "doing", 0, "10:30"},
    {"Call the printer about the punched cards", "Ask for heavier stock: the last batch jams.", "Engine",
     "todo", 0, "15:00"},
    {"Pick up bread and lemons", "", "Home", "todo", 0, ""},
    {"Tea with Mary", "She wants to hear about the flying machine.", "Home", "todo", 1, "16:00"},
    {"Draft the letter to the Royal Society", "One page. No poetry this time.", "Writing", "todo", 1, ""},
    {"Order brass gears, 40 teeth", "Two dozen, and two spare.", "Engine", "todo", 3, ""},
    {"Book the coach to Ockham", "", "Home", "todo", 5, "09:00"},
    {"Work out a figure for the weaving analogy", "Loom on the left, engine on the right.", "Writing",
     "doing", std::nullopt, ""},
    {"Read Somerville on the connexion of the sciences", "https://library.example/somerville/connexion",
     "Someday", "todo", std::nullopt, ""},
    {"Learn the harp piece", "", "Someday", "todo", 16, ""},
    {"Return the difference tables", "", "Engine", "done", -2, ""},
    {"Pay the subscription to the circulating library", "", "Home", "done", -1, ""},
};

std::string dayAfterToday(Clock::time_point now, int days) {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> today(
        g_date_time_new_from_unix_local(Clock::to_time_t(now)), g_date_time_unref);
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> day(
        g_date_time_add_days(today.get(), days), g_date_time_unref);
    return GText(g_date_time_format(day.get(), "%Y-%m-%d")).get();
}

/// Today's times that are over already would greet a newcomer with tasks that are late.
std::string timeStillToCome(const SeedTask& task, Clock::time_point now) {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> local(
        g_date_time_new_from_unix_local(Clock::to_time_t(now)), g_date_time_unref);
    const GText clock(g_date_time_format(local.get(), "%H:%M"));
    return task.days == 0 && std::string_view(task.time) < clock.get() ? "" : task.time;
}

} // namespace

State State::seed(Clock::time_point now) {
    State state;
    Account& account = state.accounts.signUp(seedUsername, seedEmail, seedPassword);
    for (const SeedTask& task : seedTasks) {
        nlohmann::json fields = {{"title", task.title},
                                 {"notes", task.notes},
                                 {"list", task.list},
                                 {"status", task.status},
                                 {"dueTime", timeStillToCome(task, now)}};
        if (task.days)
            fields["dueDate"] = dayAfterToday(now, *task.days);
        account.tasks.add(fields, now);
    }
    return state;
}

} // namespace Demo
