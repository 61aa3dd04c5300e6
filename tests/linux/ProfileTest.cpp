#include "platform/linux/Profile.h"

#include "platform/linux/TemporaryFolder.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <set>

namespace {

namespace fs = std::filesystem;

std::string keyOf(const char* origin) {
    return Profile::under("/p").dataOf(*Url::parse(origin)).lexically_relative("/p/data/origins");
}

} // namespace

TEST(Profile, namesAFolderAfterEachOrigin) {
    const std::pair<const char*, const char*> cases[] = {
        {"https://brisko.example", "brisko.example"},
        {"https://BRISKO.Example:443", "brisko.example"},
        {"https://brisko.example:8443", "brisko.example_8443"},
        {"https://127.0.0.1:1", "127.0.0.1_1"},
        {"https://[::1]:8443", "%3a%3a1_8443"},
        {"https://a_21", "a%5f21"},
        {"https://a!", "a%21"},
        {"https://..", "%2e."},
        {"https://.", "%2e"},
    };
    std::set<std::string> distinct;
    for (const auto& [origin, key] : cases) {
        EXPECT_EQ(keyOf(origin), key) << origin;
        distinct.insert(key);
    }
    EXPECT_EQ(distinct.size(), std::size(cases) - 1);
}

TEST(Profile, keepsEverythingBelowOneFolder) {
    const auto here = fs::current_path();
    for (const auto* given : {"there", "there/", "./there", "x/../there"}) {
        const auto profile = Profile::under(given);
        EXPECT_EQ(profile.preferencesFile(), here / "there/config/preferences.json") << given;
        EXPECT_EQ(profile.cacheOf(*Url::parse("https://h")), here / "there/cache/origins/h") << given;
        EXPECT_EQ(profile.remindersFolder(), here / "there/state/reminders") << given;
    }
    EXPECT_FALSE(fs::exists(here / "there"));
}

TEST(Profile, hasOneValidApplicationIdForEachFolder) {
    const TemporaryFolder folder("brisko-profile");
    fs::create_directory(folder.path() / "real");
    fs::create_directory_symlink(folder.path() / "real", folder.path() / "link");
    const auto id = Profile::under(folder.path() / "real").applicationId();
    EXPECT_EQ(Profile::under(folder.path() / "link").applicationId(), id);
    EXPECT_EQ(Profile::under(folder.path() / "real" / "").applicationId(), id);
    fs::create_directories(folder.path() / "real" / "data");
    EXPECT_EQ(Profile::under(folder.path() / "real").applicationId(), id)
        << "the same before and after the first start";
    EXPECT_NE(Profile::under(folder.path() / "other").applicationId(), id);
    EXPECT_EQ(id.size(), std::string("app.brisko.Brisko.p").size() + 16);
    EXPECT_TRUE(g_application_id_is_valid(id.c_str())) << id;
    EXPECT_EQ(Profile::ofUser().applicationId(), "app.brisko.Brisko");
}
