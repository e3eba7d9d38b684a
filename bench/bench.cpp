/* One program a compiler: it measures all tables or, with --growth as its first argument, how time
 * grows with very many records. Everything else is for the benchmark library. */
#include <cstdlib>
#include <string_view>

#include <benchmark/benchmark.h>

#include "tables.h"

int main(int argc, char **argv) {
    setenv("CC", C_COMPILER, 1); // for what is compiled at run time
    if (argc > 1 && argv[1] == std::string_view("--growth")) {
        argv[1] = argv[0];
        argc--, argv++;
        offer_growth();
    } else {
        offer_c_functions();
        offer_face();
        offer_many();
        offer_threads();
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    return benchmark::RunSpecifiedBenchmarks() > 0 ? 0 : 1;
}
