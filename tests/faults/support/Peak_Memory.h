#pragma once

#include "util/Non_Copyable.h"

#include <cstddef>

namespace QEL::Tests {

/// How much more memory than at its beginning the program has held at one time, taken from operator new.
/// Linking its source replaces the operators of the whole program. One at a time, in one thread.
class Peak_Memory : private FrontEnd::Util::Non_Copyable {
public:
    Peak_Memory();

    std::size_t In_Bytes() const;

private:
    std::ptrdiff_t m_Before;
};

} // namespace QEL::Tests
