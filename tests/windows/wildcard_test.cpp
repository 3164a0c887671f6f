#include "platform/windows/files/Wildcard.h"

#include <gtest/gtest.h>

namespace QEL::Tests {

namespace {

using FrontEnd::Platform::Matches_Wildcard;

TEST(Wildcard, QuestionMarkIsExactlyOneCharacter) {
    EXPECT_TRUE(Matches_Wildcard("abc", "a?c"));
    EXPECT_FALSE(Matches_Wildcard("ac", "a?c"));
    EXPECT_FALSE(Matches_Wildcard("a", "a?"));
}

TEST(Wildcard, StarIsAnyRun) {
    EXPECT_TRUE(Matches_Wildcard("", "*"));
    EXPECT_TRUE(Matches_Wildcard("name.tar.gz", "*.gz"));
    EXPECT_TRUE(Matches_Wildcard("aXbXc", "a*b*c"));
    EXPECT_FALSE(Matches_Wildcard("aXbX", "a*b*c"));
}

TEST(Wildcard, DotStarNeedsADot) {
    EXPECT_TRUE(Matches_Wildcard("name.", "name.*"));
    EXPECT_FALSE(Matches_Wildcard("name", "name.*"));
    EXPECT_FALSE(Matches_Wildcard("name", "*.*"));
}

TEST(Wildcard, LetterCaseDoesNotCount) {
    EXPECT_TRUE(Matches_Wildcard("Name.XML", "nAME.xml"));
}

TEST(Wildcard, GoesBackToTheLastStar) {
    EXPECT_TRUE(Matches_Wildcard("aaab", "*ab"));
    EXPECT_TRUE(Matches_Wildcard("mississippi", "m*iss*ppi"));
    EXPECT_FALSE(Matches_Wildcard("mississippi", "m*iss*ppix"));
}

} // namespace

} // namespace QEL::Tests
