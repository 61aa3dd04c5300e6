#include "platform/Error.h"
#include "platform/linux/MemoryProtection.h"
#include "platform/linux/Module.h"
#include "platform/linux/Profile.h"
#include "platform/linux/TemporaryFolder.h"
#include "reminders/linux/ReminderPlace.h"

#include <dlfcn.h>
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>

namespace fs = std::filesystem;

TEST(MemoryProtection, keepsTheMemoryFromOtherProgramsOfTheSamePerson) {
    const auto protect = [] {
        // Changing the user makes a process undumpable by itself: a program starts dumpable.
        prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
        MemoryProtection::apply();
        _exit(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0));
    };
    EXPECT_EXIT(protect(), testing::ExitedWithCode(0), "") << "who may be dumped may be traced and read";
}

TEST(Module, isLoadedFromTheProgramsOwnBuildOnly) {
    Dl_info library;
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&g_application_new), &library), 0);
    EXPECT_THROW(Module::symbolOf(library.dli_fname, "g_application_new"), Error);
}

TEST(Profile, keepsEverythingBelowOneFolderAndOfEachOriginInOneThatIsNoOtherOrigins) {
    using std::pair;
    for (const auto& [origin, name] : {pair("https://brisko.example", "brisko.example"),
                                       pair("https://BRISKO.Example:443", "brisko.example"),
                                       pair("https://brisko.example:8443", "brisko.example_8443"),
                                       pair("https://a!", "a%21"), pair("https://[::1]:8443", "%3a%3a1_8443"),
                                       pair("https://a_21", "a%5f21"), pair("https://..", "%2e.")})
        EXPECT_EQ(Profile::under("/p").dataOf(*Url::parse(origin)), fs::path("/p/data/origins") / name);
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
    const auto real = folder.path() / "real";
    fs::create_directory(real);
    fs::create_directory_symlink(real, folder.path() / "link");
    const auto id = Profile::under(real).applicationId();
    EXPECT_TRUE(g_application_id_is_valid(id.c_str())) << id;
    EXPECT_EQ(Profile::under(folder.path() / "link").applicationId(), id);
    fs::create_directory(real / "data");
    EXPECT_EQ(Profile::under(real / "").applicationId(), id) << "the same before and after the first start";
    EXPECT_NE(Profile::under(folder.path() / "other").applicationId(), id);
    const ReminderPlace usual = {"app.brisko.Brisko",
                                 fs::path(g_get_home_dir()) / ".local/state/brisko/reminders"};
    const ReminderPlace elsewhere = {usual.applicationId, folder.path()};
    EXPECT_EQ(usual.applicationId + " " + usual.busName(),
              Profile::ofUser().applicationId() + " app.brisko.Brisko.Reminders");
    EXPECT_NE(elsewhere.busName(), usual.busName()) << "one agent for each folder";
    EXPECT_TRUE(g_dbus_is_name(elsewhere.busName().c_str()));
}
