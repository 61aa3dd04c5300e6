#include "platform/Task.h"

#include "platform/Outcome.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

Task<int> answer(std::shared_ptr<Completion<int>> completion, bool* started) {
    *started = true;
    co_return co_await *completion;
}

} // namespace

TEST(Task, startsWhenSpawnedGoesOnWithWhatComesFirstAndReleasesWhatItHolds) {
    const auto completion = std::make_shared<Completion<int>>();
    auto started = false;
    {
        auto task = answer(completion, &started);
        EXPECT_FALSE(started);
        const auto outcome = begin(std::move(task));
        EXPECT_TRUE(started && !outcome->ended());
        completion->resolve(7);
        completion->resolve(8);
        EXPECT_EQ(outcome->value, 7);
        const auto neverAwaited = answer(completion, &started);
    }
    EXPECT_EQ(completion.use_count(), 1);
}

TEST(Task, handsAFailureToWhoAwaitsItAlsoWhenItCameFirst) {
    auto started = false;
    for (const auto early : {true, false}) {
        const auto completion = std::make_shared<Completion<int>>();
        const auto begun = early ? nullptr : begin(answer(completion, &started));
        completion->fail(std::make_exception_ptr(std::runtime_error("refused")));
        completion->resolve(1);
        EXPECT_EQ((early ? begin(answer(completion, &started)) : begun)->message(), "refused");
    }
}
