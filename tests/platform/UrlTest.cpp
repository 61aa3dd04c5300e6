#include "platform/Url.h"

#include <gtest/gtest.h>

TEST(Url, splitsIntoItsPartsKeepsItsTextAndTellsAMissingPartFromAnEmptyOne) {
    const auto url = Url::parse("https://user@Host.example:8443/a//b%20c/?q=1#f").value();
    EXPECT_EQ(url.scheme() + " " + *url.host() + " " + url.path(), "https Host.example /a//b%20c/");
    EXPECT_EQ(url.port(), 8443);
    EXPECT_EQ(url.origin(), "https://Host.example:8443");
    EXPECT_EQ(url.text(), "https://user@Host.example:8443/a//b%20c/?q=1#f");
    for (const auto* text : {"brisko:new", "brisko:///new", "/path", "blob:https://h/1"})
        EXPECT_FALSE(Url::parse(text).value().host()) << text;
    for (const auto* text : {"https://a b/", "https://h/\xC3\xA9", "https://h:65536/", "http://[::1", "%"})
        EXPECT_FALSE(Url::parse(text)) << text;
    EXPECT_EQ(
        Url::parse("brisko://auth?code=a%26b+c&code=&code&x=1")->queryItems(),
        std::vector<Url::QueryItem>({{"code", "a&b+c"}, {"code", ""}, {"code", std::nullopt}, {"x", "1"}}));
}
