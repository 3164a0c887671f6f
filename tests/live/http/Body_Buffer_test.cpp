#include <gmock/gmock.h>

#include <string>
#include <string_view>

#include "platform/posix/http/Body_Buffer.h"

namespace QEL::Tests {

namespace {

using FrontEnd::Platform::Body_Buffer;

std::string_view Bytes(const Body_Buffer& buffer) {
    return {buffer.Data(), buffer.Size()};
}

TEST(Body_Buffer, KeepsEveryByteWhileItGrows) {
    Body_Buffer buffer;
    std::string expected;
    for (int piece = 0; piece < 1000; ++piece) {
        const std::string bytes(static_cast<std::size_t>(piece), static_cast<char>(piece));
        ASSERT_TRUE(buffer.Append(bytes));
        expected += bytes;
    }
    EXPECT_TRUE(Bytes(buffer) == expected);
}

/// Its memory is taken ahead of the bytes, and must not be taken again under them.
TEST(Body_Buffer, KeepsEveryByteOfALargeBody) {
    constexpr std::size_t content_length = 3 * 1024 * 1024 + 1;
    Body_Buffer buffer;
    buffer.Reserve(content_length);
    std::string expected;
    for (char piece = 1; expected.size() < 2 * content_length; ++piece) {
        const std::string bytes(100001, piece);
        ASSERT_TRUE(buffer.Append(bytes));
        expected += bytes;
    }
    EXPECT_TRUE(Bytes(buffer) == expected);
}

TEST(Body_Buffer, TakesNotAllMemoryForAHugeContentLength) {
    Body_Buffer buffer;
    buffer.Reserve(Body_Buffer::Largest_Size);

    EXPECT_LE(buffer.m_Capacity, 256U * 1024 * 1024);
    EXPECT_TRUE(buffer.Append("abc"));
    EXPECT_EQ(Bytes(buffer), "abc");
}

TEST(Body_Buffer, RefusesMoreThanTheLargestBody) {
    Body_Buffer buffer;
    ASSERT_TRUE(buffer.Append("abc"));
    const std::string_view too_much(buffer.Data(), Body_Buffer::Largest_Size - 2); // is not read

    EXPECT_FALSE(buffer.Append(too_much));
    EXPECT_EQ(Bytes(buffer), "abc");
}

} // namespace

} // namespace QEL::Tests
