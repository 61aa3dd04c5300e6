#include "Browser.h"
#include "fakes/FakePlatform.h"
#include "web/linux/LazyWebDataStore.h"

#include <fstream>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

namespace fs = std::filesystem;

const auto origin = *Url::parse("https://localhost");

/// What the fake promises, and what the engine has to keep.
struct FakeStore {
    FakeWebDataStore store;
};

struct RealStore {
    std::unique_ptr<WebEngine> engine = makeEngine(newFolder(), origin);
    WebDataStore& store = engine->dataStore();
};

std::vector<Cookie> list(WebDataStore& store) {
    return MainLoop::finish(store.allCookies());
}

template <class Implementation>
class WebDataStoreContract : public testing::Test, protected Implementation {
protected:
    void set(const Cookie& cookie) { MainLoop::finish(this->store.setCookie(cookie)); }
};

Cookie session(const std::string& value, const std::string& path = "/",
               const std::string& domain = "brisko.example") {
    // The same in every cookie of a test, in the whole seconds in which cookies are kept.
    static const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    Cookie cookie;
    cookie.name = "brisko_session";
    cookie.value = value;
    cookie.domain = domain;
    cookie.path = path;
    cookie.secure = true;
    cookie.httpOnly = true;
    cookie.sameSite = Cookie::SameSite::strict;
    cookie.expires = now + std::chrono::hours(24);
    return cookie;
}

Cookie untilTheEnd() {
    Cookie cookie;
    cookie.name = "theme";
    cookie.value = "dark";
    cookie.domain = ".brisko.example";
    cookie.path = "/board";
    cookie.sameSite = Cookie::SameSite::lax;
    return cookie;
}

} // namespace

using Implementations = testing::Types<FakeStore, RealStore>;
TYPED_TEST_SUITE(WebDataStoreContract, Implementations);

TYPED_TEST(WebDataStoreContract, givesBackEveryCookieAsItWasSetAndRemovesThoseOfEverySite) {
    EXPECT_THAT(list(this->store), IsEmpty());
    const auto others = {untilTheEnd(), session("path", "/other"),
                         session("every host", "/", ".brisko.example"),
                         session("elsewhere", "/", "elsewhere.example")};
    for (const auto& cookie : others)
        this->set(cookie);
    this->set(session("one"));
    this->set(session("two")); // replaces the one of the same name, domain and path
    std::vector<Cookie> expected(others);
    expected.push_back(session("two"));
    EXPECT_THAT(list(this->store), testing::UnorderedElementsAreArray(expected));
    MainLoop::finish(this->store.removeAllData());
    EXPECT_THAT(list(this->store), IsEmpty());
    this->set(session("again"));
    EXPECT_THAT(list(this->store), ElementsAre(session("again")));
}

TEST_F(WebKitTest, hearsOfEveryWayInWhichACookieGoesOfWhichOneIsItsExpiry) {
    server.pages["/in"] = {"in", "text/html", 200, {{"Set-Cookie", "s=1; Path=/; Max-Age=1000"}}};
    server.pages["/brief"] = {"in", "text/html", 200, {{"Set-Cookie", "s=1; Path=/; Max-Age=1"}}};
    server.pages["/out"] = {"out", "text/html", 200, {{"Set-Cookie", "s=; Path=/; Max-Age=0"}}};
    int changes = 0;
    const auto watching = browser.store().observeCookies([&] { changes += 1; });
    for (const auto* script :
         {"await fetch('/out'); return 1", "document.cookie = 's=; path=/; max-age=0'; return 1"}) {
        browser.load(server.url("/in"));
        EXPECT_EQ(list(browser.store()).size(), 1U);
        changes = 0;
        browser.ask(script);
        MainLoop::runUntil([&] { return changes > 0; });
        EXPECT_THAT(list(browser.store()), IsEmpty()) << script;
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
    MainLoop::finish(store.setCookie(session("kept")));
    MainLoop::finish(store.setCookie(untilTheEnd()));
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
    MainLoop::finish(none.setCookie(session("one")));
    MainLoop::finish(none.removeAllData());
    EXPECT_THAT(list(none), IsEmpty());
}
