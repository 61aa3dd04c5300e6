#include "Browser.h"
#include "fakes/FakePlatform.h"
#include "web/linux/LazyWebDataStore.h"

#include <fstream>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

const auto origin = *Url::parse("https://localhost");

std::vector<Cookie> list(WebDataStore& store) {
    return MainLoop::finish(store.allCookies());
}

void set(WebDataStore& store, const std::vector<Cookie>& cookies) {
    for (const auto& cookie : cookies)
        MainLoop::finish(store.setCookie(cookie));
}

Cookie session(const std::string& value, const std::string& domain = "brisko.example") {
    // The same in every cookie of a test, in the whole seconds in which cookies are kept.
    static const auto tomorrow =
        std::chrono::ceil<std::chrono::seconds>(std::chrono::system_clock::now()) + std::chrono::hours(24);
    return {"brisko_session", value, domain, "/", tomorrow, true, true, Cookie::SameSite::strict};
}

/// Of the session that the program is.
const Cookie theme = {"theme", "dark", ".brisko.example", "/board", {}, false, false, Cookie::SameSite::lax};

} // namespace

/// What the fake promises, the engine keeps.
TEST(WebDataStore, givesBackEveryCookieAsItWasSetAndRemovesThoseOfEverySite) {
    FakeWebDataStore fake;
    const auto engine = makeEngine(newFolder(), origin);
    for (auto* store : {static_cast<WebDataStore*>(&fake), &engine->dataStore()}) {
        int changes = 0;
        const auto watching = store->observeCookies([&] { changes += 1; });
        EXPECT_THAT(list(*store), IsEmpty());
        auto otherPath = session("path");
        otherPath.path = "/other";
        std::vector cookies = {theme, otherPath, session("hosts", ".brisko.example"),
                               session("elsewhere", "elsewhere.example"), session("one")};
        set(*store, cookies);
        cookies.back() = session("two"); // of the same name, domain and path
        set(*store, {cookies.back()});
        MainLoop::runUntil([&] { return changes >= 6; });
        EXPECT_THAT(list(*store), testing::UnorderedElementsAreArray(cookies));
        MainLoop::finish(store->removeAllData());
        MainLoop::runUntil([&] { return changes > 6; });
        EXPECT_THAT(list(*store), IsEmpty());
    }
}

TEST(WebEngine, keepsWhatHasAnExpiryForTheNextStartInFoldersOfItsOwnThatItSaysItCannotUse) {
    const auto folder = newFolder();
    std::unique_ptr<WebEngine> engine;
    LazyWebDataStore store([&]() -> WebEngine& {
        if (!engine)
            engine = makeEngine(folder, origin);
        return *engine;
    });
    EXPECT_EQ(engine, nullptr);
    set(store, {session("kept"), theme});
    engine.reset();
    for (const auto* name : {"data", "cache"})
        EXPECT_EQ(fs::status(folder / name).permissions(), fs::perms::owner_all) << name;
    EXPECT_THAT(list(store), ElementsAre(session("kept")));
    MainLoop::finish(store.removeAllData());
    EXPECT_THAT(list(store), IsEmpty());
    std::ofstream(folder / "empty.pem") << "no certificate\n";
    EXPECT_THROW(makeEngine(folder, origin, folder / "missing.pem"), Error);
    EXPECT_THROW(makeEngine(folder / "empty.pem", origin), Error);
}
