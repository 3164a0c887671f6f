#pragma once

#include <cstddef>

namespace QEL::Tests {

/// How much more memory than at its beginning the program has held at one time, taken from operator new.
/// Linking its source replaces the operators of the whole program. One at a time, in one thread.
class Peak_Memory {
public:
    Peak_Memory();
    Peak_Memory(const Peak_Memory&) = delete;
    Peak_Memory& operator=(const Peak_Memory&) = delete;

    std::size_t In_Bytes() const;

private:
    std::ptrdiff_t m_Before;
};

} // namespace QEL::Tests
