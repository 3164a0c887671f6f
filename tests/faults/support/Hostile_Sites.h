#pragma once

#include "tests/support/Hostile_Site.h"

namespace QEL::Tests {

/// The hostile servers, all at work.
const std::vector<Hostile_Site>& Hostile_Sites();

/// What a check and a download may take together.
extern const std::chrono::seconds Longest_Exchange;

/// From now on the clients wait for a server no longer than it takes to see that they stop waiting.
/// Only where a response times out: a server that does respond has all the time that it usually has.
void Be_Impatient_With(const Hostile_Site& site);

} // namespace QEL::Tests
