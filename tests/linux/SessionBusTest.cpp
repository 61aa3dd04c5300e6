#include "linux/BusObject.h"
#include "linux/MainLoop.h"
#include "platform/linux/DBus.h"
#include "platform/linux/LauncherEntry.h"

#include <gmock/gmock.h>

namespace {

/// A session bus of its own with another program on it, which notes what it hears.
class SessionBusTest : public testing::Test {
public:
    ~SessionBusTest() override {
        signal_.reset();
        other_ = own_ = {};
        g_test_dbus_down(daemon_.get());
    }

protected:
    SessionBusTest() {
        g_test_dbus_up(daemon_.get());
        own_ = GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
        other_ = BusObject::connectTo(g_test_dbus_get_bus_address(daemon_.get()));
    }

    void listenTo(const DBus::Signal::Match& signal) {
        const auto note = [this](const char*, GVariant* arguments) {
            heard.emplace_back(GText(g_variant_print(arguments, FALSE)).get());
        };
        signal_.emplace(other_, signal, note);
        // The subscription is a message itself; an answer to a later one tells that the bus has read it.
        BusObject::ask(other_.get(), "GetId");
    }
    /// Everything that has been heard once it is that much.
    const std::vector<std::string>& heardAll(std::size_t signals) {
        MainLoop::runUntil([&] { return heard.size() >= signals; },
                           [&] { return testing::PrintToString(heard); });
        return heard;
    }

    std::vector<std::string> heard;

private:
    GPtr<GTestDBus> daemon_ = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
    GPtr<GDBusConnection> own_;
    GPtr<GDBusConnection> other_;
    std::optional<DBus::Signal> signal_;
};

} // namespace

TEST_F(SessionBusTest, anIconShowsItsNumberAndItsProgressEachByItselfAndNothingAtTheEnd) {
    listenTo({nullptr, nullptr, "com.canonical.Unity.LauncherEntry", "Update"});
    {
        LauncherEntry entry("app.brisko.Brisko.desktop");
        entry.setBadge(0);
        entry.setProgress(std::nullopt);
        entry.setProgress(0.25);
        entry.setProgress(0.25);
        entry.setBadge(3);
        entry.setProgress(std::nullopt);
    }
    std::string updates;
    for (const auto& update : heardAll(4)) // ('application://app.brisko.Brisko.desktop', {…})
        updates += update.substr(update.find('{'));
    EXPECT_TRUE(heard[0].starts_with("('application://app.brisko.Brisko.desktop', {")) << heard[0];
    EXPECT_EQ(updates, "{'progress': <0.25>, 'progress-visible': <true>})"
                       "{'count': <int64 3>, 'count-visible': <true>})"
                       "{'progress': <0.0>, 'progress-visible': <false>})"
                       "{'count': <int64 0>, 'count-visible': <false>})");
}
