#include "platform/Task.h"

#include "platform/Outcome.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

Task<int> answer(std::shared_ptr<Completion<int>> completion, bool* started) {
    *started = true;
    co_return co_await *completion;
}

class TaskTest : public testing::Test {
protected:
    std::shared_ptr<Completion<int>> completion = std::make_shared<Completion<int>>();
    bool started = false;
};

} // namespace

TEST_F(TaskTest, startsWhenSpawnedAndGoesOnWithTheValueOnceItIsThere) {
    auto task = answer(completion, &started);
    EXPECT_FALSE(started);
    const auto outcome = begin(std::move(task));
    EXPECT_TRUE(started);
    EXPECT_FALSE(outcome->ended());
    completion->resolve(7);
    completion->resolve(8);
    EXPECT_EQ(outcome->value, 7);
}

TEST_F(TaskTest, handsAFailureToWhoAwaitsItAlsoWhenItCameFirst) {
    for (const auto early : {true, false}) {
        completion = std::make_shared<Completion<int>>();
        const auto fail = [this] {
            completion->fail(std::make_exception_ptr(std::runtime_error("refused")));
        };
        if (early)
            fail();
        const auto outcome = begin(answer(completion, &started));
        if (!early)
            fail();
        EXPECT_EQ(outcome->message(), "refused");
    }
}

TEST_F(TaskTest, thatIsNeverAwaitedReleasesWhatItHolds) {
    {
        const auto task = answer(completion, &started);
        EXPECT_EQ(completion.use_count(), 2);
    }
    EXPECT_EQ(completion.use_count(), 1);
}
