#include "tests/support/Counted_Allocations.h"

#include <malloc.h>

namespace {

thread_local bool t_is_counting = false;
thread_local std::size_t t_count = 0;
thread_local std::ptrdiff_t t_held = 0; // signed: a block may be given back that was taken before
thread_local std::ptrdiff_t t_most_held = 0;

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
    if (t_is_counting) {
        ++t_count;
        t_held += Size_Of(block);
        t_most_held = std::max(t_most_held, t_held);
    }
    return block;
}

void operator delete(void* block) noexcept {
    t_held -= t_is_counting && block != nullptr ? Size_Of(block) : 0;
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    ::operator delete(block);
}

namespace QEL::Tests {

Counted_Allocations::Counted_Allocations() {
    t_count = 0;
    t_held = t_most_held = 0;
    t_is_counting = true;
}

Counted_Allocations::~Counted_Allocations() {
    t_is_counting = false;
}

std::size_t Counted_Allocations::Count() const {
    return t_count;
}

std::size_t Counted_Allocations::Most_Held() const {
    return static_cast<std::size_t>(t_most_held);
}

} // namespace QEL::Tests
