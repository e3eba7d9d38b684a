/* One program a compiler: it measures all tables. Its arguments are for the benchmark library. */
#include <cstdlib>

#include <benchmark/benchmark.h>

#include "tables.h"

int main(int argc, char **argv) {
    setenv("CC", C_COMPILER, 1); // for what is compiled at run time
    offer_c_functions();
    offer_face();
    offer_threads();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    return benchmark::RunSpecifiedBenchmarks() > 0 ? 0 : 1;
}
