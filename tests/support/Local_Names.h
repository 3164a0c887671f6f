#pragma once

#include "tests/support/Standard_Library.h"

namespace QEL::Tests {

/// The names of hosts as the test programs see them: linking Local_Names.cpp replaces the name
/// service of the whole program.
///
/// Names under ".test" are 127.0.0.1, "slow.test" after more than a second, "3.nodes.test" is 127.0.0.1 to 127.0.0.3;
/// "hanging.invalid" is resolved after
/// twenty seconds; the system is asked for names under ".example", which wants a network of the test's own. No other
/// name exists. Nothing leaves the machine.
struct Local_Names {
    static inline std::atomic<int> look_ups = 0; ///< so far
};

} // namespace QEL::Tests
