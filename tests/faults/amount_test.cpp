// An amount that shows nothing is refused: a test that does nothing would pass.

#include "tests/faults/support/Amount.h"
#include "tests/support/User_Configuration.h"

#include <gmock/gmock.h>

namespace QEL::Tests {

namespace {

TEST(Amounts, AreTheUsualOnesUnlessAskedOtherwise) {
    for (const auto& [asked, amount] : {std::pair<const char*, int>{nullptr, 25}, {"100", 100}, {"0", 0}}) {
        const Environment_Variable variable("QEL_TEST_AMOUNT", asked);
        EXPECT_EQ(Amount("QEL_TEST_AMOUNT", 25, 0), amount);
    }
}

TEST(Amounts, ThatAreNotNumbersOrTooSmallAreRefused) {
    for (const char* const text : {"x", "1000x", " 1000", "+1000", "1e3", "-1000", "99", "0", "99999999999"}) {
        const Environment_Variable variable("QEL_TEST_AMOUNT", text);
        EXPECT_THAT([] { Amount("QEL_TEST_AMOUNT", 25, 100); },
                    testing::ThrowsMessage<std::invalid_argument>(std::string("QEL_TEST_AMOUNT=") + text +
                                                                  " is not a number from 100 on"));
    }
}

} // namespace

} // namespace QEL::Tests
