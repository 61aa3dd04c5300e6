#include "platform/Task.h"

#include "platform/Outcome.h"

#include <gtest/gtest.h>

namespace {

Task<int> answer(std::shared_ptr<Completion<int>> completion) {
    co_return co_await *completion;
}

} // namespace

TEST(Task, goesOnWithWhatComesFirstAlsoAFailureAndReleasesWhatItHolds) {
    const auto completion = std::make_shared<Completion<int>>(),
               failing = std::make_shared<Completion<int>>();
    {
        const auto outcome = begin(answer(completion)), failed = begin(answer(failing));
        EXPECT_FALSE(outcome->ended());
        completion->resolve(7);
        completion->resolve(8);
        EXPECT_EQ(outcome->value, 7);
        failing->fail(std::make_exception_ptr(Error("refused")));
        failing->resolve(1);
        EXPECT_EQ(failed->message() + begin(answer(failing))->message(), "refusedrefused");
        const auto neverAwaited = answer(completion);
    }
    EXPECT_EQ(completion.use_count() + failing.use_count(), 2);
}
