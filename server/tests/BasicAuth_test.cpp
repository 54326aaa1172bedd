#include "BasicAuth.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using cimxmlpa::BasicAuthenticator;

std::optional<std::string> checkValue(BasicAuthenticator const& a, std::string const& value) {
    return a.check(&value);
}

TEST(BasicAuthTest, Base64DecodingIsStrict) {
    EXPECT_EQ(cimxmlpa::auth::decodeBase64(""), "");
    EXPECT_EQ(cimxmlpa::auth::decodeBase64("YWxpY2U6c2VjcmV0"), "alice:secret");
    EXPECT_EQ(cimxmlpa::auth::decodeBase64("YTpi"), "a:b");
    EXPECT_EQ(cimxmlpa::auth::decodeBase64("YTpiYw=="), "a:bc");
    EXPECT_EQ(cimxmlpa::auth::decodeBase64("YTpiYzE="), "a:bc1");
    EXPECT_EQ(cimxmlpa::auth::decodeBase64("+/8A"), std::string("\xfb\xff\x00", 3));
    for (char const* bad : {"YTpiYw", "YTpiYw=", "YT=iYw==", "YTpi====", "=YTp", "YTp!", "YTp-", "YTp_", "YTp ",
                            "YTpiYw==YTpi"}) {
        EXPECT_FALSE(cimxmlpa::auth::decodeBase64(bad)) << bad;
    }
    EXPECT_FALSE(cimxmlpa::auth::decodeBase64(std::string_view("YT\0i", 4)));
}

TEST(BasicAuthTest, ConstantTimeEqualsComparesEveryLengthCorrectly) {
    EXPECT_TRUE(cimxmlpa::auth::constantTimeEquals("", ""));
    EXPECT_TRUE(cimxmlpa::auth::constantTimeEquals("secret", "secret"));
    EXPECT_FALSE(cimxmlpa::auth::constantTimeEquals("", "secret"));
    EXPECT_FALSE(cimxmlpa::auth::constantTimeEquals("secret", ""));
    EXPECT_FALSE(cimxmlpa::auth::constantTimeEquals("secre", "secret"));
    EXPECT_FALSE(cimxmlpa::auth::constantTimeEquals("secrets", "secret"));
    // Repeating the expected text must not match a longer offer.
    EXPECT_FALSE(cimxmlpa::auth::constantTimeEquals("abab", "ab"));
    EXPECT_FALSE(cimxmlpa::auth::constantTimeEquals("secreT", "secret"));
    EXPECT_FALSE(cimxmlpa::auth::constantTimeEquals(std::string_view("a\0", 2), "a"));
}

TEST(BasicAuthTest, AcceptsOnlyAConfiguredUserWithItsPassword) {
    BasicAuthenticator const a({{"alice", "secret"}, {"bob", "pa:ss word"}}, "realm one");
    EXPECT_EQ(a.challenge(), "Basic realm=\"realm one\"");
    EXPECT_EQ(checkValue(a, "Basic YWxpY2U6c2VjcmV0"), "alice");         // alice:secret
    EXPECT_EQ(checkValue(a, "basic YWxpY2U6c2VjcmV0"), "alice");         // scheme case ignored
    EXPECT_EQ(checkValue(a, "BASIC   YWxpY2U6c2VjcmV0  "), "alice");     // spaces around the token
    EXPECT_EQ(checkValue(a, "Basic Ym9iOnBhOnNzIHdvcmQ="), "bob");       // bob:pa:ss word (colon in the password)
    struct Case {
        char const* name;
        char const* value;
    };
    for (Case const& c : std::vector<Case>{
             {"wrong password", "Basic YWxpY2U6c2VjcmVU"},            // alice:secreT
             {"password prefix", "Basic YWxpY2U6c2VjcmU="},           // alice:secre
             {"password extended", "Basic YWxpY2U6c2VjcmV0cw=="},     // alice:secrets
             {"empty password", "Basic YWxpY2U6"},                    // alice:
             {"unknown user", "Basic bWFsbG9yeTpzZWNyZXQ="},          // mallory:secret
             {"user name case", "Basic QWxpY2U6c2VjcmV0"},            // Alice:secret
             {"no colon", "Basic YWxpY2VzZWNyZXQ="},                  // alicesecret
             {"empty credentials", "Basic "},
             {"scheme only", "Basic"},
             {"bad base64", "Basic YWxpY2U6c2VjcmV0!"},
             {"unpadded base64", "Basic YWxpY2U6c2VjcmU"},
             {"two tokens", "Basic YWxp Y2U6c2VjcmV0"},
             {"other scheme", "Bearer YWxpY2U6c2VjcmV0"},
             {"scheme glued to the token", "BasicYWxpY2U6c2VjcmV0"},
             {"longer scheme", "Basics YWxpY2U6c2VjcmV0"},
             {"empty value", ""},
         }) {
        EXPECT_FALSE(checkValue(a, c.value)) << c.name;
    }
    EXPECT_FALSE(a.check(nullptr));
    EXPECT_FALSE(checkValue(a, "Basic " + std::string(BasicAuthenticator::MAX_CREDENTIALS_LENGTH, 'A')));
}

TEST(BasicAuthTest, RefusesARealmThatCannotBeQuoted) {
    EXPECT_THROW(BasicAuthenticator({}, "a\"b"), std::invalid_argument);
    EXPECT_THROW(BasicAuthenticator({}, "a\\b"), std::invalid_argument);
    EXPECT_THROW(BasicAuthenticator({}, "a\r\nb"), std::invalid_argument);
}

}  // namespace
