#pragma once

#include <set>
#include <string>

namespace QEL::FrontEnd::Platform {

/// The machine's addresses and its default routes, each as a text of the platform's own. What cannot be read counts as
/// absent.
std::set<std::string> Network_State();

} // namespace QEL::FrontEnd::Platform
