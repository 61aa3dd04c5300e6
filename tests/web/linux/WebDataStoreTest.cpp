#include "EngineFolder.h"
#include "fakes/FakePlatform.h"
#include "linux/MainLoop.h"
#include "web/linux/LazyWebDataStore.h"
#include "web/linux/WebEngine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

namespace fs = std::filesystem;

std::unique_ptr<WebEngine> makeEngine(const fs::path& folder) {
    return loadWebEngine({.data = folder / "data",
                          .cache = folder / "cache",
                          .origin = *Url::parse("https://localhost"),
                          .trusted = std::nullopt,
                          .acceleration = false});
}

/// What the fake promises, and what the engine has to keep.
struct FakeStore {
    WebDataStore& store() { return fake; }
    FakeWebDataStore fake;
};

struct RealStore {
    WebDataStore& store() { return engine->dataStore(); }
    std::unique_ptr<WebEngine> engine = makeEngine(newEngineFolder());
};

template <class Implementation>
class WebDataStoreContract : public testing::Test {
protected:
    std::vector<Cookie> list() { return MainLoop::finish(made_.store().allCookies()); }
    void set(const Cookie& cookie) { MainLoop::finish(made_.store().setCookie(cookie)); }
    void clear() { MainLoop::finish(made_.store().removeAllData()); }

private:
    Implementation made_;
};

/// The same in every cookie of a test, in the whole seconds in which cookies are kept.
const auto tomorrow =
    std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()) + std::chrono::hours(24);

Cookie session(const std::string& value) {
    Cookie cookie;
    cookie.name = "brisko_session";
    cookie.value = value;
    cookie.domain = "brisko.example";
    cookie.secure = true;
    cookie.httpOnly = true;
    cookie.sameSite = Cookie::SameSite::strict;
    cookie.expires = tomorrow;
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

TYPED_TEST(WebDataStoreContract, givesBackEveryCookieAsItWasSet) {
    EXPECT_THAT(this->list(), IsEmpty());
    this->set(session("one"));
    this->set(untilTheEnd());
    EXPECT_THAT(this->list(), UnorderedElementsAre(session("one"), untilTheEnd()));
}

TYPED_TEST(WebDataStoreContract, replacesACookieOfTheSameNameDomainAndPathOnly) {
    auto elsewhere = session("elsewhere");
    elsewhere.path = "/other";
    auto everyHost = session("every host");
    everyHost.domain = ".brisko.example";
    for (const auto& cookie : {session("one"), elsewhere, everyHost, session("two")})
        this->set(cookie);
    EXPECT_THAT(this->list(), UnorderedElementsAre(session("two"), elsewhere, everyHost));
}

TYPED_TEST(WebDataStoreContract, removesTheCookiesOfEverySite) {
    auto other = session("other");
    other.domain = "elsewhere.example";
    this->set(session("one"));
    this->set(other);
    this->clear();
    EXPECT_THAT(this->list(), IsEmpty());
    this->set(session("again"));
    EXPECT_THAT(this->list(), ElementsAre(session("again")));
}

TEST(WebKitDataStore, keepsWhatHasAnExpiryForTheNextStartInFoldersOfItsOwn) {
    const auto folder = newEngineFolder();
    {
        const auto engine = makeEngine(folder);
        MainLoop::finish(engine->dataStore().setCookie(session("kept")));
        MainLoop::finish(engine->dataStore().setCookie(untilTheEnd()));
    }
    for (const auto* name : {"data", "cache"})
        EXPECT_EQ(fs::status(folder / name).permissions(), fs::perms::owner_all) << name;
    const auto engine = makeEngine(folder);
    EXPECT_THAT(MainLoop::finish(engine->dataStore().allCookies()), ElementsAre(session("kept")));
}

TEST(LazyWebDataStore, startsTheEngineAtTheFirstCallOnly) {
    const auto folder = newEngineFolder();
    std::unique_ptr<WebEngine> engine;
    LazyWebDataStore store([&]() -> WebEngine& {
        if (!engine)
            engine = makeEngine(folder);
        return *engine;
    });
    EXPECT_EQ(engine, nullptr);
    MainLoop::finish(store.setCookie(session("one")));
    ASSERT_NE(engine, nullptr);
    EXPECT_THAT(MainLoop::finish(engine->dataStore().allCookies()), ElementsAre(session("one")));
    MainLoop::finish(store.removeAllData());
    EXPECT_THAT(MainLoop::finish(store.allCookies()), IsEmpty());
}

TEST(LazyWebDataStore, findsNothingWhereTheEngineCannotBeMade) {
    LazyWebDataStore store([]() -> WebEngine& { throw Error("no engine"); });
    MainLoop::finish(store.setCookie(session("one")));
    MainLoop::finish(store.removeAllData());
    EXPECT_THAT(MainLoop::finish(store.allCookies()), IsEmpty());
}

TEST(WebEngine, saysWhenItsFoldersOrTheTrustedFileCannotBeUsed) {
    const auto folder = newEngineFolder();
    WebEngine::Options options = {.data = folder / "data",
                                  .cache = folder / "cache",
                                  .origin = *Url::parse("https://localhost"),
                                  .trusted = folder / "missing.pem",
                                  .acceleration = false};
    EXPECT_THROW(loadWebEngine(options), Error);
    std::ofstream(folder / "empty.pem") << "no certificate\n";
    options.trusted = folder / "empty.pem";
    EXPECT_THROW(loadWebEngine(options), Error);
    options.trusted.reset();
    options.data = folder / "empty.pem" / "data";
    EXPECT_THROW(loadWebEngine(options), Error);
}
