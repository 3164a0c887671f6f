#include "tests/faults/support/Peak_Memory.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace {

// Signed: a block may be given back that was taken past these operators.
std::ptrdiff_t s_held = 0;
std::ptrdiff_t s_peak = 0;

/// What the system gave for a block: the block itself does not say how much was asked for.
std::ptrdiff_t Size_Of(void* block) {
#ifdef _WIN32
    return static_cast<std::ptrdiff_t>(_msize(block));
#else
    return static_cast<std::ptrdiff_t>(::malloc_usable_size(block));
#endif
}

} // namespace

// The forms for arrays and those that do not throw come down to these.
void* operator new(std::size_t size) {
    void* const block = std::malloc(size > 0 ? size : 1);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    s_held += Size_Of(block);
    s_peak = std::max(s_peak, s_held);
    return block;
}

void operator delete(void* block) noexcept {
    if (block != nullptr) {
        s_held -= Size_Of(block);
        std::free(block);
    }
}

void operator delete(void* block, std::size_t) noexcept {
    ::operator delete(block);
}

namespace QEL::Tests {

Peak_Memory::Peak_Memory() : m_Before(s_held) {
    s_peak = s_held;
}

std::size_t Peak_Memory::In_Bytes() const {
    return static_cast<std::size_t>(s_peak - m_Before);
}

} // namespace QEL::Tests
