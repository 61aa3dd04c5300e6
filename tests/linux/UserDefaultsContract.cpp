#include "fakes/FakePlatform.h"
#include "linux/FullDisk.h"
#include "platform/linux/JsonUserDefaults.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>

namespace {

/// The fake, and how it stops taking anything.
struct Fake {
    FakeUserDefaults defaults;

    void failWhile(const std::function<void()>& action) {
        defaults.broken = true;
        action();
        defaults.broken = false;
    }
};

struct File {
    TemporaryFolder folder{"brisko-defaults"};
    JsonUserDefaults defaults{folder.path() / "preferences.json"};

    void failWhile(const std::function<void()>& action) {
        const FullDisk full;
        action();
    }
};

template <class Kind>
class UserDefaultsContract : public testing::Test {
protected:
    Kind kind;
    UserDefaults& defaults = kind.defaults;
};

using Kinds = testing::Types<Fake, File>;
TYPED_TEST_SUITE(UserDefaultsContract, Kinds);

} // namespace

TYPED_TEST(UserDefaultsContract, givesEveryValueBackWithItsType) {
    const Json values[] = {true,
                           0,
                           std::numeric_limits<std::int64_t>::min(),
                           std::numeric_limits<std::uint64_t>::max(),
                           1.0,
                           0.1,
                           "",
                           "Zoë \"\\ \n\x7f 😀",
                           std::string("a\0b", 3),
                           Json::array({1, "two", nullptr}),
                           Json{{"nested", Json{{"key", false}}}}};
    for (const auto& value : values) {
        this->defaults.set("brisko.value", value);
        const auto stored = this->defaults.value("brisko.value");
        EXPECT_EQ(stored, value);
        EXPECT_EQ(stored.is_number_float(), value.is_number_float()) << value;
        EXPECT_EQ(stored.is_boolean(), value.is_boolean()) << value;
    }
}

TYPED_TEST(UserDefaultsContract, forgetsWhatIsRemovedAndKeepsTheRest) {
    this->defaults.set("brisko.a", 1);
    this->defaults.set("brisko.b", 2);
    this->defaults.remove("brisko.a");
    this->defaults.remove("brisko.a");
    EXPECT_EQ(this->defaults.value("brisko.a"), Json());
    EXPECT_EQ(this->defaults.value("brisko.b"), 2);
    EXPECT_EQ(this->defaults.value("brisko"), Json());
}

TYPED_TEST(UserDefaultsContract, changesSeveralValuesAsOneOrNone) {
    this->defaults.set("brisko.kept", "kept");
    this->defaults.set("brisko.gone", 1);
    this->defaults.update({{"brisko.gone", Json()}, {"brisko.missing", Json()}, {"brisko.new", 2.5}});
    const auto expectChanged = [this] {
        EXPECT_EQ(this->defaults.value("brisko.kept"), "kept");
        EXPECT_EQ(this->defaults.value("brisko.gone"), Json());
        EXPECT_EQ(this->defaults.value("brisko.new"), 2.5);
    };
    expectChanged();
    this->kind.failWhile(
        [this] { EXPECT_THROW(this->defaults.update({{"brisko.kept", Json()}, {"brisko.new", 3}}), Error); });
    expectChanged();
}

TYPED_TEST(UserDefaultsContract, keepsThePreviousValueWhenAnotherCannotBeStored) {
    this->defaults.set("brisko.a", "before");
    this->kind.failWhile([this] {
        EXPECT_THROW(this->defaults.set("brisko.a", "after"), Error);
        EXPECT_THROW(this->defaults.remove("brisko.a"), Error);
        EXPECT_EQ(this->defaults.value("brisko.a"), "before");
    });
    EXPECT_EQ(this->defaults.value("brisko.a"), "before");
    this->defaults.set("brisko.a", "after");
    EXPECT_EQ(this->defaults.value("brisko.a"), "after");
}
