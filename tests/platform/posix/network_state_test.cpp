// What counts as a change of the machine's network, in a network of the test's own.

#include "platform/common/Network_State.h"
#include "tests/support/Own_Network.h"

#include <gtest/gtest.h>

namespace QEL::Tests {

namespace {

using FrontEnd::Platform::Network_State;

TEST(Network_State, IsTheSameWhileNothingChanges) {
    EXPECT_EQ(Network_State(), Network_State());
    EXPECT_FALSE(Network_State().empty());
}

TEST(Network_State, ChangesWithAnAddress) {
    const int result = Own_Network::Run([](const Own_Network& network) {
        const auto before = Network_State();
        if (!network.Add_Address("10.1.2.3")) {
            return 1;
        }
        const auto with_address = Network_State();
        if (with_address == before || !network.Remove_Address()) {
            return 2;
        }
        return Network_State() == before ? 0 : 3;
    });
    EXPECT_DONE_OR_SKIP(result);
}

TEST(Network_State, ChangesWithADefaultRoute) {
    const int result = Own_Network::Run([](const Own_Network& network) {
        const auto before = Network_State();
        if (!network.Add_Default_Route()) {
            return 1;
        }
        const auto with_route = Network_State();
        if (with_route == before || !network.Remove_Default_Route()) {
            return 2;
        }
        return Network_State() == before ? 0 : 3;
    });
    EXPECT_DONE_OR_SKIP(result);
}

} // namespace

} // namespace QEL::Tests
