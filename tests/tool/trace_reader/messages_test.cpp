#include "tools/trace_reader/messages.h"

#include "tests/support/Standard_Library.h"

#include <gtest/gtest.h>

namespace QEL::Tests {
namespace {

using namespace FrontEnd::Trace_Reading;

TEST(Product_Messages, AreTakenFromTheProduct) {
    std::size_t count[4] = {};
    for (const Product_Message& message : Product_Messages()) {
        ++count[static_cast<std::size_t>(message.severity)];
        EXPECT_FALSE(message.format.ends_with("\n")) << message.format;
    }
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Error)], 40U);
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Warning)], 10U);
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Note)], 0U);
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Data)], 40U);
}

TEST(Product_Messages, AreRecognisedAndEachProblemIsExplained) {
    for (const Product_Message& message : Product_Messages()) {
        std::string text = std::regex_replace(std::string(message.format), std::regex("%[dp]"), "12");
        text = std::regex_replace(text, std::regex("%s"), "/some where/it's.xml");
        const auto recognised = Recognise(text);
        ASSERT_NE(recognised.message, nullptr) << text;
        EXPECT_EQ(recognised.message->format, message.format);
        EXPECT_EQ(recognised.Cause().find_first_of("{}"), std::string::npos) << recognised.Cause();
        if (message.severity >= Severity::Warning) {
            EXPECT_FALSE(recognised.Cause().empty()) << text;
        }
    }
    EXPECT_EQ(Recognise("No message of the product").message, nullptr);
}

} // namespace
} // namespace QEL::Tests
