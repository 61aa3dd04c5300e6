#include "platform/Task.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

Task<int> answer(std::shared_ptr<Completion<int>> completion) {
    co_return co_await completion->settlement();
}

Task<std::string> describe(std::shared_ptr<Completion<int>> completion) {
    auto asking = answer(completion);
    std::string text;
    try {
        text = std::to_string(co_await std::move(asking));
    } catch (const std::runtime_error& failure) {
        text = failure.what();
    }
    co_return text;
}

Task<> note(std::shared_ptr<Completion<int>> completion, std::vector<std::string>* log) {
    log->push_back("before");
    auto describing = describe(completion);
    const auto text = co_await std::move(describing);
    log->push_back(text);
}

} // namespace

TEST(Task, startsWhenSpawnedAndGoesOnWithTheValueOnceItIsThere) {
    const auto completion = std::make_shared<Completion<int>>();
    std::vector<std::string> log;
    auto task = note(completion, &log);
    EXPECT_TRUE(log.empty());
    spawn(std::move(task));
    EXPECT_EQ(log, std::vector<std::string>({"before"}));
    completion->resolve(7);
    completion->resolve(8);
    EXPECT_EQ(log, std::vector<std::string>({"before", "7"}));
}

TEST(Task, handsAFailureToWhoAwaitsItAlsoWhenItCameFirst) {
    for (const auto early : {true, false}) {
        const auto completion = std::make_shared<Completion<int>>();
        const auto failure = std::make_exception_ptr(std::runtime_error("refused"));
        std::vector<std::string> log;
        if (early)
            completion->fail(failure);
        spawn(note(completion, &log));
        if (!early)
            completion->fail(failure);
        EXPECT_EQ(log.back(), "refused");
    }
}

TEST(Task, thatIsNeverAwaitedReleasesWhatItHolds) {
    const auto completion = std::make_shared<Completion<int>>();
    {
        auto task = answer(completion);
        EXPECT_EQ(completion.use_count(), 2);
    }
    EXPECT_EQ(completion.use_count(), 1);
}
