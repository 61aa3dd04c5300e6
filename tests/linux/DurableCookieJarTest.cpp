#include "account/linux/DurableCookieJar.h"

#include "linux/FullDisk.h"
#include "platform/linux/DurableFile.h"
#include "platform/linux/TemporaryFolder.h"

#include <gtest/gtest.h>

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
    std::string listed(const DurableCookieJar& jar) const {
        std::string result;
        for (const auto& cookie : jar.cookiesFor(origin))
            result += (result.empty() ? "" : " ") + cookie.name + "=" + cookie.value;
        return result;
    }
    /// What the next start finds, even if this process is killed now.
    std::string onDisk() const { return listed(DurableCookieJar(file)); }
    void remove(DurableCookieJar& jar, const std::string& name) const {
        for (const auto& cookie : jar.cookiesFor(origin))
            if (cookie.name == name)
                jar.remove(cookie);
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
                      "m=; Expires=Fri, 31 Dec 9999 23:59:59 GMT; Domain=brisko.example",
                      "n=1; Max-Age=99999999999999999999", "p=1; Max-Age=3600; Path=relative"});
        for (const auto& cookie : jar.cookiesFor(origin))
            if (cookie.expires)
                before.push_back(cookie);
        receive(jar, {"passing=gone with the process"});
    }
    EXPECT_GE(before.size(), 4U);
    EXPECT_EQ(DurableCookieJar(file).cookiesFor(origin), before);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms(0700));
}

TEST_F(DurableCookieJarTest, losesNoCookieToAFullDiskAndEndsASessionEvenThere) {
    {
        DurableCookieJar jar(file);
        receive(jar, {"old=1; Max-Age=3600"});
        {
            const FullDisk full;
            receive(jar, {"new=1; Max-Age=3600"});
            EXPECT_EQ(listed(jar) + ", " + onDisk(), "old=1 new=1, old=1");
        }
        receive(jar, {"passing=1"});
        EXPECT_EQ(onDisk(), "old=1 new=1");
        const FullDisk full;
        receive(jar, {"last=1; Max-Age=3600"});
    }
    EXPECT_EQ(onDisk(), "old=1 new=1 last=1") << "there was room again at the end";
    DurableCookieJar jar(file);
    for (const auto* name : {"old", "last", "new"}) {
        const FullDisk full;
        remove(jar, name);
        EXPECT_EQ(onDisk(), "") << name;
    }
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(DurableCookieJarTest, takesAFileAsItWroteItOrSetsItAsideAndStartsEmpty) {
    const std::string good =
        R"({"version":1,"cookies":[{"name":"a","value":"1","domain":"brisko.example","path":"/",)"
        R"("secure":true,"httpOnly":true,"sameSite":"Lax","expires":4102444799}]})";
    const auto store = [&](const std::string& part, const std::string& other) {
        const auto content = std::string(good).replace(good.find(part), part.size(), other);
        fs::remove_all(file.parent_path());
        DurableFile::makePrivateFolder(file.parent_path());
        DurableFile::write(file, content);
        return content;
    };
    const fs::path aside = file.string() + ".broken-1";
    const std::string expires = "4102444799";
    for (const auto& [part, other] :
         {std::pair(good, std::string()), {"1", "1.5"}, {"true", "1"}, {expires, "\"tomorrow\""}}) {
        const auto content = store(part, other);
        DurableCookieJar jar(file);
        EXPECT_EQ(listed(jar), "") << content;
        EXPECT_EQ(DurableFile::read(aside), content);
        receive(jar, {"a=1; Max-Age=3600"});
        EXPECT_EQ(onDisk(), "a=1") << content;
    }
    store(good, good);
    EXPECT_EQ(onDisk(), "a=1");
    store(expires, "1");
    EXPECT_EQ(onDisk(), "") << "it has expired meanwhile";
    EXPECT_FALSE(fs::exists(aside));
}
