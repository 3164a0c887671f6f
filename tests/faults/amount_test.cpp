// An amount that shows nothing is refused: a test that does nothing would pass.

#include "tests/faults/support/Amount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace QEL::Tests {

namespace {

class Amounts : public testing::Test {
protected:
    ~Amounts() override { Ask(""); }

    /// An empty text takes the variable away.
    static void Ask(const std::string& text) {
#ifdef _WIN32
        _putenv_s("QEL_TEST_AMOUNT", text.c_str());
#else
        text.empty() ? ::unsetenv("QEL_TEST_AMOUNT") : ::setenv("QEL_TEST_AMOUNT", text.c_str(), 1);
#endif
    }
};

TEST_F(Amounts, AreTheUsualOnesUnlessAskedOtherwise) {
    EXPECT_EQ(Amount("QEL_TEST_AMOUNT", 25), 25);
    Ask("100");
    EXPECT_EQ(Amount("QEL_TEST_AMOUNT", 25, 100), 100);
    Ask("0");
    EXPECT_EQ(Amount("QEL_TEST_AMOUNT", 25, 0), 0);
}

TEST_F(Amounts, ThatAreNotNumbersOrTooSmallAreRefused) {
    for (const char* const text : {"x", "1000x", " 1000", "+1000", "1e3", "-1000", "99", "0", "99999999999"}) {
        SCOPED_TRACE(text);
        Ask(text);
        EXPECT_THAT([] { Amount("QEL_TEST_AMOUNT", 25, 100); },
                    testing::ThrowsMessage<std::invalid_argument>(std::string("QEL_TEST_AMOUNT=") + text +
                                                                  " is not a number from 100 on"));
    }
}

} // namespace

} // namespace QEL::Tests
