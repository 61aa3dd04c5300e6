#include "linux/MainLoop.h"
#include "platform/linux/GPtr.h"
#include "platform/linux/LauncherEntry.h"
#include "platform/linux/UserDownloadFolder.h"

#include <gio/gio.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

/// A session bus of its own with another program on it, which notes every signal: "path member arguments".
class SessionBusTest : public testing::Test {
protected:
    SessionBusTest() {
        g_test_dbus_up(daemon_.get());
        own_ = GPtr<GDBusConnection>::take(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
        other_ = GPtr<GDBusConnection>::take(g_dbus_connection_new_for_address_sync(
            g_test_dbus_get_bus_address(daemon_.get()),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr));
    }
    ~SessionBusTest() override {
        other_ = {};
        own_ = {};
        g_test_dbus_down(daemon_.get());
    }

    void listenTo(const char* interface) {
        const auto note = +[](GDBusConnection*, const char*, const char* path, const char*,
                              const char* member, GVariant* arguments, gpointer signals) {
            const GText text(g_variant_print(arguments, FALSE));
            static_cast<std::vector<std::string>*>(signals)->push_back(std::string(path) + " " + member +
                                                                       " " + text.get());
        };
        g_dbus_connection_signal_subscribe(other_.get(), nullptr, interface, nullptr, nullptr, nullptr,
                                           G_DBUS_SIGNAL_FLAGS_NONE, note, &heard, nullptr);
        // The subscription is a message itself; an answer to a later one tells that the bus has read it.
        const GVariantPtr answer(g_dbus_connection_call_sync(
            other_.get(), "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId", nullptr, nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    }
    void waitFor(std::size_t signals) {
        MainLoop::runUntil([&] { return heard.size() >= signals; });
    }

    std::vector<std::string> heard;

private:
    GPtr<GTestDBus> daemon_ = GPtr<GTestDBus>::take(g_test_dbus_new(G_TEST_DBUS_NONE));
    GPtr<GDBusConnection> own_;
    GPtr<GDBusConnection> other_;
};

} // namespace

TEST_F(SessionBusTest, tellsEverybodyOfAFileThatHasArrived) {
    listenTo("app.brisko.Brisko.Downloads");
    std::vector<std::filesystem::path> recent;
    const auto note = [&recent](const std::filesystem::path& file) { recent.push_back(file); };
    UserDownloadFolder downloads("/home/ada/Downloads", note);
    downloads.announce("/home/ada/Downloads/Zürich 2.csv");
    downloads.announce("/home/ada/\xff/x");
    waitFor(2);
    EXPECT_THAT(heard,
                ElementsAre("/app/brisko/Brisko DownloadFileFinished ('/home/ada/Downloads/Zürich 2.csv',)",
                            "/app/brisko/Brisko DownloadFileFinished ('/home/ada/\ufffd/x',)"));
    EXPECT_THAT(recent, ElementsAre("/home/ada/Downloads/Zürich 2.csv", "/home/ada/\xff/x"));
}

TEST_F(SessionBusTest, anIconShowsItsNumberAndItsProgressEachByItselfAndNothingAtTheEnd) {
    listenTo("com.canonical.Unity.LauncherEntry");
    {
        LauncherEntry entry("app.brisko.Brisko.desktop");
        entry.setBadge(0);
        entry.setProgress(std::nullopt);
        entry.setProgress(0.25);
        entry.setProgress(0.25);
        entry.setBadge(3);
        entry.setProgress(std::nullopt);
    }
    waitFor(4);
    std::vector<std::string> said;
    for (const auto& signal : heard) {
        EXPECT_TRUE(signal.starts_with("/com/canonical/unity/launcherentry/")) << signal;
        said.push_back(signal.substr(signal.find(" Update ") + 1));
    }
    const auto update = [](const std::string& properties) {
        return "Update ('application://app.brisko.Brisko.desktop', {" + properties + "})";
    };
    EXPECT_THAT(said, ElementsAre(update("'progress': <0.25>, 'progress-visible': <true>"),
                                  update("'count': <int64 3>, 'count-visible': <true>"),
                                  update("'progress': <0.0>, 'progress-visible': <false>"),
                                  update("'count': <int64 0>, 'count-visible': <false>")));
}

TEST(SessionBus, thatIsNotThereKeepsNobodyFromAnything) {
    g_setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
    LauncherEntry entry("app.brisko.Brisko.desktop");
    entry.setBadge(3);
    auto told = 0;
    UserDownloadFolder("/home/ada/Downloads", [&told](const auto&) { told += 1; }).announce("/home/ada/x");
    EXPECT_EQ(told, 1);
}
