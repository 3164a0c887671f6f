#include <gmock/gmock.h>

#include "platform/common/Http_Url.h"

namespace QEL::Tests {

namespace {

using FrontEnd::Platform::Http_Url;

TEST(Http_Url, RefusesAControlCharacterThatIsEncodedInTheHost) {
    for (const auto* url : {"http://good%7f.test/", "http://good%7F.test/", "http://%7f/", "http://good%01.test/",
                            "http://good%0a.test/", "http://good%00.test/"}) {
        EXPECT_FALSE(Http_Url::Parse(url)) << url;
    }
}

TEST(Http_Url, TakesAnEncodedAddressInNumbersForWhatItIs) {
    for (const auto* url : {"http://127.0.0.1/", "http://127.1/", "http://0x7f.1/", "http://%30x7f.1/",
                            "http://%31%32%37%2e%31/", "http://2130706433/"}) {
        const auto parsed = Http_Url::Parse(url);
        ASSERT_TRUE(parsed) << url;
        EXPECT_EQ(parsed->text, "http://127.0.0.1/") << url;
        EXPECT_EQ(parsed->host, "127.0.0.1") << url;
        EXPECT_EQ(parsed->Origin(), "http://127.0.0.1:80") << url;
    }
}

TEST(Http_Url, IsTheSameWhenItIsReadAgain) {
    for (const auto* url : {"http://good.test", "http://%30x7f.1/", "http://%2541/", "http://a%25b/", "http://%/",
                            "http://%2e/", "HTTP://A%41:080/./b?c d#e", "http://[fe80::1%25eth0]/",
                            "http://[::1%a%41]/", "http://u%7f:p%7f@a/", "http://a/\xE4?\xE4#\xE4"}) {
        const auto parsed = Http_Url::Parse(url);
        ASSERT_TRUE(parsed) << url;
        const auto again = Http_Url::Parse(parsed->text);
        ASSERT_TRUE(again) << url;
        EXPECT_EQ(again->text, parsed->text) << url;
        EXPECT_EQ(again->Origin(), parsed->Origin()) << url;
    }
}

} // namespace

} // namespace QEL::Tests
