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

TEST(Network_State, ChangesWithAnAddressAndWithADefaultRoute) {
    using Change = std::function<bool(const Own_Network&)>;
    const std::pair<Change, Change> changes[] = {
        {[](const auto& network) { return network.Add_Address("10.1.2.3"); }, &Own_Network::Remove_Address},
        {&Own_Network::Add_Default_Route, &Own_Network::Remove_Default_Route}};
    for (const auto& [add, remove] : changes) {
        const int result = Own_Network::Run([&](const Own_Network& network) {
            const auto before = Network_State();
            if (!add(network)) {
                return 1;
            }
            const auto changed = Network_State();
            if (changed == before || !remove(network)) {
                return 2;
            }
            return Network_State() == before ? 0 : 3;
        });
        EXPECT_DONE_OR_SKIP(result);
    }
}

} // namespace

} // namespace QEL::Tests
