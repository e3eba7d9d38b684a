/* What the fuzz targets share: bytes taken apart, and a demand that ends the run. */
#ifndef ZOEAVL_TESTS_FUZZ_H
#define ZOEAVL_TESTS_FUZZ_H

#include <cstdio>
#include <cstdlib>

#include <fuzzer/FuzzedDataProvider.h>

#define DEMAND(condition)                                                                          \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                   \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

#endif
