#include <gtest/gtest.h>

#include <utility>

#include "util/HttpClient.h"

namespace QEL::Tests {

namespace {

using FrontEnd::Util::HttpWinInet::HttpClient;

TEST(Error_Range, HoldsTheWinInetTransportErrors) {
    for (const auto& [error, is_in_range] : {std::pair{0U, false},
                                             {200U, false},
                                             {12000U, false},
                                             {12001U, true},
                                             {12002U, true},
                                             {12045U, true},
                                             {12175U, true},
                                             {12176U, false},
                                             {0x80072EE1U, false}}) {
        EXPECT_EQ(HttpClient::IsErrorInRange(error), is_in_range) << error;
    }
}

} // namespace

} // namespace QEL::Tests
