#include "Browser.h"
#include "fakes/FakePlatform.h"
#include "web/linux/LazyWebDataStore.h"

#include <fstream>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

const auto origin = *Url::parse("https://localhost");

/// What the fake promises, and what the engine has to keep.
struct FakeStore : FakeWebDataStore {
    WebDataStore& store = *this;
};

struct RealStore {
    std::unique_ptr<WebEngine> engine = makeEngine(newFolder(), origin);
    WebDataStore& store = engine->dataStore();
};

template <class Implementation>
class WebDataStoreContract : public testing::Test, protected Implementation {};

std::vector<Cookie> list(WebDataStore& store) {
    return MainLoop::finish(store.allCookies());
}

void set(WebDataStore& store, const std::vector<Cookie>& cookies) {
    for (const auto& cookie : cookies)
        MainLoop::finish(store.setCookie(cookie));
}

Cookie session(const std::string& value, const std::string& domain = "brisko.example") {
    // The same in every cookie of a test, in the whole seconds in which cookies are kept.
    static const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    return {.name = "brisko_session",
            .value = value,
            .domain = domain,
            .expires = now + std::chrono::hours(24),
            .secure = true,
            .httpOnly = true,
            .sameSite = Cookie::SameSite::strict};
}

/// Of the session that the program is.
const Cookie theme = {.name = "theme",
                      .value = "dark",
                      .domain = ".brisko.example",
                      .path = "/board",
                      .expires = {},
                      .sameSite = Cookie::SameSite::lax};

} // namespace

using Implementations = testing::Types<FakeStore, RealStore>;
TYPED_TEST_SUITE(WebDataStoreContract, Implementations);

TYPED_TEST(WebDataStoreContract, givesBackEveryCookieAsItWasSetAndRemovesThoseOfEverySite) {
    int changes = 0;
    const auto watching = this->store.observeCookies([&] { changes += 1; });
    EXPECT_THAT(list(this->store), IsEmpty());
    auto otherPath = session("path");
    otherPath.path = "/other";
    const std::vector others = {theme, otherPath, session("hosts", ".brisko.example"),
                                session("elsewhere", "elsewhere.example")};
    set(this->store, others);
    set(this->store, {session("one"), session("two")}); // of the same name, domain and path
    MainLoop::runUntil([&] { return changes >= 6; });
    const auto cookies = list(this->store);
    EXPECT_THAT(cookies, testing::IsSupersetOf(others));
    EXPECT_THAT(cookies, testing::Contains(session("two")));
    EXPECT_EQ(cookies.size(), 5U);
    MainLoop::finish(this->store.removeAllData());
    MainLoop::runUntil([&] { return changes > 6; });
    EXPECT_THAT(list(this->store), IsEmpty());
    set(this->store, {session("again")});
    EXPECT_THAT(list(this->store), ElementsAre(session("again")));
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
    EXPECT_THROW(makeEngine(folder, origin, folder / "empty.pem"), Error);
    EXPECT_THROW(makeEngine(folder / "empty.pem", origin), Error);
    LazyWebDataStore none([]() -> WebEngine& { throw Error("no engine"); });
    set(none, {session("one")});
    MainLoop::finish(none.removeAllData());
    EXPECT_THAT(list(none), IsEmpty());
}
