#include "platform/Url.h"

#include <gtest/gtest.h>

TEST(Url, splitsIntoItsPartsAndKeepsItsText) {
    const auto url = Url::parse("https://user@Host.example:8443/a//b%20c/?q=1#f");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme(), "https");
    EXPECT_EQ(url->host(), "Host.example");
    EXPECT_EQ(url->port(), 8443);
    EXPECT_EQ(url->path(), "/a//b%20c/");
    EXPECT_EQ(url->origin(), "https://Host.example:8443");
    EXPECT_EQ(url->text(), "https://user@Host.example:8443/a//b%20c/?q=1#f");
}

TEST(Url, tellsAMissingHostFromAPresentOne) {
    for (const auto* text :
         {"brisko:new", "brisko:///new", "mailto:a@b.example", "/path", "blob:https://h/1"}) {
        const auto url = Url::parse(text);
        ASSERT_TRUE(url) << text;
        EXPECT_FALSE(url->host()) << text;
    }
    EXPECT_EQ(Url::parse("brisko://new")->host(), "new");
    EXPECT_EQ(Url::parse("https://[::1]:1/")->origin(), "https://[::1]:1");
}

TEST(Url, refusesWhatIsNone) {
    for (const auto* text : {"https://a b/", "https://h/\xC3\xA9", "https://h:70000/", "http://[::1", "%"})
        EXPECT_FALSE(Url::parse(text)) << text;
}

TEST(Url, readsQueryItemsInOrderDecodedAndTellsNoValueFromAnEmptyOne) {
    EXPECT_EQ(
        Url::parse("brisko://auth?code=a%26b+c&code=&code&x=1")->queryItems(),
        std::vector<Url::QueryItem>({{"code", "a&b+c"}, {"code", ""}, {"code", std::nullopt}, {"x", "1"}}));
    EXPECT_TRUE(Url::parse("brisko://auth")->queryItems().empty());
}

TEST(Url, buildsServiceAddresses) {
    const auto origin = *Url::parse("https://brisko.example");
    EXPECT_EQ(origin.appendingPath("api/auth/login").text(), "https://brisko.example/api/auth/login");
    EXPECT_EQ(origin.appendingPath("a").withQuery({{"na me", "1&2"}, {"flag", std::nullopt}}).text(),
              "https://brisko.example/a?na%20me=1%262&flag");
}

TEST(Url, resolvesReferencesAgainstTheOrigin) {
    const auto origin = *Url::parse("https://brisko.example");
    for (const auto& [reference, expected] :
         std::vector<std::pair<std::string, std::string>>{{"/?new=1", "https://brisko.example/?new=1"},
                                                          {"/", "https://brisko.example/"},
                                                          {"?search=1", "https://brisko.example?search=1"},
                                                          {"a/../b", "https://brisko.example/b"},
                                                          {"//other.example/x", "https://other.example/x"}})
        EXPECT_EQ(origin.resolve(reference)->text(), expected);
    EXPECT_FALSE(origin.resolve("not a path"));
}
