#include "account/linux/DurableCookieJar.h"

#include "account/linux/SoupCookies.h"
#include "linux/FullDisk.h"
#include "platform/Json.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

namespace {

namespace fs = std::filesystem;

class DurableCookieJarTest : public testing::Test {
protected:
    TemporaryFolder folder{"brisko-cookies"};
    const fs::path file = folder.path() / "origin" / "cookies.json";
    const Url origin = *Url::parse("https://brisko.example");

    /// What a reply does: its `Set-Cookie` lines, and then the client's save.
    void receive(DurableCookieJar& jar, std::initializer_list<const char*> lines) const {
        const GUriPtr uri(
            g_uri_parse(origin.text().c_str(), static_cast<GUriFlags>(SOUP_HTTP_URI_FLAGS), nullptr));
        for (const auto* line : lines)
            soup_cookie_jar_set_cookie(jar.jar(), uri.get(), line);
        jar.save();
    }
    std::string names(const DurableCookieJar& jar) const {
        std::string result;
        for (const auto& cookie : jar.cookiesFor(origin))
            result += (result.empty() ? "" : " ") + cookie.name;
        return result;
    }
    /// What the next start finds, even if this process is killed now.
    std::string namesOnDisk() const { return names(DurableCookieJar(file)); }
    Cookie named(const DurableCookieJar& jar, const char* name) const {
        for (auto& cookie : jar.cookiesFor(origin))
            if (cookie.name == name)
                return cookie;
        throw std::runtime_error(std::string("no cookie ") + name);
    }
};

} // namespace

TEST_F(DurableCookieJarTest, givesTheNextStartWhateverTheServiceMaySet) {
    std::vector<Cookie> before;
    {
        DurableCookieJar jar(file);
        receive(jar, {"z=1; Max-Age=3600; Path=/; Secure; HttpOnly; SameSite=Strict",
                      "a=\"quo ted\\\", \x01\x7f; Max-Age=3600; SameSite=None; Secure",
                      "caf\xe9=caf\xe9; Max-Age=3600", "b=1; Max-Age=3600; SameSite=Lax",
                      "=nameless; Max-Age=3600", "c==;Max-Age=3600",
                      "m=; Expires=Fri, 31 Dec 9999 23:59:59 GMT; Domain=brisko.example",
                      "n=1; Max-Age=99999999999999999999", "p=1; Max-Age=3600; Path=relative"});
        for (const auto& cookie : jar.cookiesFor(origin))
            if (cookie.expires)
                before.push_back(cookie);
        receive(jar, {"passing=gone with the process"});
    }
    EXPECT_GE(before.size(), 6U);
    EXPECT_EQ(DurableCookieJar(file).cookiesFor(origin), before);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms(0700));
}

TEST_F(DurableCookieJarTest, replacesACookieAndForgetsOneThatTheServiceEnds) {
    DurableCookieJar jar(file);
    receive(jar, {"a=1; Max-Age=3600", "b=1; Max-Age=3600", "a=2; Max-Age=3600"});
    EXPECT_EQ(names(jar), "a b");
    EXPECT_EQ(named(jar, "a").value, "2");
    receive(jar, {"a=; Max-Age=0", "never=1; Expires=Thu, 01 Jan 1970 00:00:00 GMT"});
    EXPECT_EQ(names(jar), "b");
    EXPECT_EQ(namesOnDisk(), "b");
    receive(jar, {"b=now it ends with the process"});
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(DurableCookieJarTest, neitherListsNorKeepsWhatHasExpiredMeanwhile) {
    {
        DurableCookieJar jar(file);
        receive(jar, {"old=1; Max-Age=3600", "new=1; Max-Age=3600"});
    }
    auto stored = parseJson(*DurableFile::read(file));
    for (auto& cookie : stored["cookies"])
        if (cookie["name"] == "old")
            cookie["expires"] = 1;
    DurableFile::write(file, stored.dump());
    DurableCookieJar jar(file);
    EXPECT_EQ(names(jar), "new");
    receive(jar, {"other=1; Max-Age=3600"});
    EXPECT_EQ(DurableFile::read(file)->find("\"old\""), std::string::npos);
}

TEST_F(DurableCookieJarTest, leavesTheFileAloneWhenNothingInItChanges) {
    DurableCookieJar jar(file);
    receive(jar,
            {"a=1; Expires=Fri, 31 Dec 2100 23:59:59 GMT", "b=1; Expires=Fri, 31 Dec 2100 23:59:59 GMT"});
    fs::remove(file);
    receive(jar, {"passing=1", "a=1; Expires=Fri, 31 Dec 2100 23:59:59 GMT"});
    EXPECT_FALSE(fs::exists(file));
    receive(jar, {"a=2; Expires=Fri, 31 Dec 2100 23:59:59 GMT"});
    EXPECT_EQ(namesOnDisk(), "a b");
}

TEST_F(DurableCookieJarTest, losesNoCookieToAFullDisk) {
    {
        DurableCookieJar jar(file);
        receive(jar, {"old=1; Max-Age=3600"});
        {
            const FullDisk full;
            receive(jar, {"new=1; Max-Age=3600"});
            EXPECT_EQ(names(jar), "old new");
            EXPECT_EQ(namesOnDisk(), "old");
        }
        receive(jar, {"passing=1"});
        EXPECT_EQ(namesOnDisk(), "old new");
        const FullDisk full;
        receive(jar, {"last=1; Max-Age=3600"});
        EXPECT_EQ(namesOnDisk(), "old new");
    }
    EXPECT_EQ(namesOnDisk(), "old new last") << "there was room again at the end";
}

TEST_F(DurableCookieJarTest, endsASessionEvenOnAFullDisk) {
    DurableCookieJar jar(file);
    receive(jar, {"brisko_session=1; Max-Age=3600", "other=1; Max-Age=3600"});
    {
        const FullDisk full;
        jar.remove(named(jar, "brisko_session"));
        EXPECT_EQ(namesOnDisk(), "");
    }
    EXPECT_EQ(names(jar), "other");
    receive(jar, {"passing=1"});
    EXPECT_EQ(namesOnDisk(), "other");
    const FullDisk full;
    jar.remove(named(jar, "other"));
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(DurableCookieJarTest, setsAnUnusableFileAsideAndStartsEmpty) {
    const std::string entry = R"({"name":"a","value":"1","domain":"brisko.example","path":"/","secure":true,)"
                              R"("httpOnly":true,"sameSite":"Lax","expires":4102444799})";
    const auto with = [&](const char* part, const char* other) {
        auto changed = entry;
        changed.replace(changed.find(part), std::string(part).size(), other);
        return "{\"version\":1,\"cookies\":[" + entry + "," + changed + "]}";
    };
    const std::string unusable[] = {"",
                                    "\xff",
                                    "[]",
                                    "null",
                                    R"({"version":1})",
                                    R"({"version":2,"cookies":[]})",
                                    R"({"version":1,"cookies":[1]})",
                                    with("\"name\":\"a\"", "\"name\":1"),
                                    with("\"1\"", "null"),
                                    with("\"brisko.example\"", "\"\""),
                                    with("\"domain\"", "\"Domain\""),
                                    with("4102444799", "-1"),
                                    with("4102444799", "9223372036854775807"),
                                    with("4102444799", "\"tomorrow\""),
                                    with("true", "1"),
                                    with("Lax", "Laxer")};
    for (const auto& content : unusable) {
        DurableFile::makePrivateFolder(file.parent_path());
        DurableFile::write(file, content);
        DurableCookieJar jar(file);
        EXPECT_EQ(names(jar), "") << content;
        EXPECT_EQ(DurableFile::read(file), std::nullopt) << content;
        EXPECT_EQ(DurableFile::read(file.string() + ".broken-1"), content);
        receive(jar, {"a=1; Max-Age=3600"});
        EXPECT_EQ(namesOnDisk(), "a") << content;
        fs::remove_all(file.parent_path());
    }
    const auto usable = with("\"a\"", "\"b\"");
    DurableFile::makePrivateFolder(file.parent_path());
    DurableFile::write(file, usable);
    EXPECT_EQ(names(DurableCookieJar(file)), "a b");
}

TEST_F(DurableCookieJarTest, worksWithoutADiskWhereNothingCanBeKept) {
    fs::create_directories(file / "inside");
    {
        DurableCookieJar jar(file);
        receive(jar, {"a=1; Max-Age=3600"});
    }
    EXPECT_TRUE(fs::exists(file.string() + ".broken-1/inside"));
    EXPECT_EQ(namesOnDisk(), "a");

    DurableCookieJar jar(file / "below a file");
    receive(jar, {"a=1; Max-Age=3600"});
    EXPECT_EQ(names(jar), "a");
    jar.remove(named(jar, "a"));
    EXPECT_EQ(names(jar), "");
}
