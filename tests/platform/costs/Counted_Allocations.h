#pragma once

#include <cstddef>

namespace QEL::Tests {

/// Counts what the calling thread takes from operator new while it exists. Linking its source
/// replaces the operators of the whole program. One at a time.
class Counted_Allocations {
public:
    Counted_Allocations();
    ~Counted_Allocations();
    Counted_Allocations(const Counted_Allocations&) = delete;

    std::size_t Count() const;
};

} // namespace QEL::Tests
