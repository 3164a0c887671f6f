#pragma once

#include "tests/support/Standard_Library.h"
#include "util/Non_Copyable.h"

namespace QEL::Tests {

/// Counts what the calling thread takes from operator new while it exists. Linking its source
/// replaces the operators of the whole program. One at a time.
class Counted_Allocations : private FrontEnd::Util::Non_Copyable {
public:
    Counted_Allocations();
    ~Counted_Allocations();
    std::size_t Count() const;
    /// The most bytes at a time.
    std::size_t Most_Held() const;
};

} // namespace QEL::Tests
