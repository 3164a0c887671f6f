#pragma once

#include "tests/support/Standard_Library.h"

/// The moment at which these tests look at a cache, in units of 100 ns.
namespace QEL::FrontEnd::Tool {

constexpr std::uint64_t minute = 600000000;
constexpr std::uint64_t present = 134080000000000000; // in 2025

} // namespace QEL::FrontEnd::Tool
