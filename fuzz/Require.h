#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the fuzzer when something that always holds does not; the fuzzer then keeps its input.
#define REQUIRE(condition)                                                                                             \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "%s:%d: is not true: %s\n", __FILE__, __LINE__, #condition);                          \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)
