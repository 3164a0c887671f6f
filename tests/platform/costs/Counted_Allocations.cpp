#include "tests/platform/costs/Counted_Allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local bool t_is_counting = false;
thread_local std::size_t t_count = 0;

} // namespace

// The forms for arrays and those that do not throw come down to this one.
void* operator new(std::size_t size) {
    t_count += t_is_counting ? 1 : 0;
    if (void* const block = std::malloc(size > 0 ? size : 1)) {
        return block;
    }
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace QEL::Tests {

Counted_Allocations::Counted_Allocations() {
    t_count = 0;
    t_is_counting = true;
}

Counted_Allocations::~Counted_Allocations() {
    t_is_counting = false;
}

std::size_t Counted_Allocations::Count() const {
    return t_count;
}

} // namespace QEL::Tests
