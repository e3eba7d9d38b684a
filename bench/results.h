/* What a run found, figure by figure, in a file that other runs add to and the report reads. */
#ifndef ZOEAVL_BENCH_RESULTS_H
#define ZOEAVL_BENCH_RESULTS_H

#include <cstdlib>
#include <fstream>
#include <istream>
#include <ostream>
#include <string>

/* The compiler that built the contestants of this program. */
#ifdef __clang__
inline constexpr const char *this_build = "clang++ " __clang_version__;
#else
inline constexpr const char *this_build = "g++ " __VERSION__;
#endif

/* Ours, somebody else's, or a figure that isn't compared. */
enum class Kind { ours, peer, note };

/* Stands in the file as a line, its fields between tabs. */
struct Figure {
    std::string table, operation;
    std::size_t records;
    std::string contestant, build;
    Kind kind;
    double nanoseconds; /* for one operation, median over the rounds */
    double ratio;       /* its time over that of the first contestant, median over the rounds */

    friend std::ostream &operator<<(std::ostream &out, const Figure &f) {
        return out << f.table << '\t' << f.operation << '\t' << f.contestant << '\t' << f.build
                   << '\t' << f.records << ' ' << static_cast<int>(f.kind) << ' ' << f.nanoseconds
                   << ' ' << f.ratio << '\n';
    }
    friend std::istream &operator>>(std::istream &in, Figure &f) {
        for (std::string *const field : {&f.table, &f.operation, &f.contestant, &f.build})
            std::getline(in, *field, '\t');
        int kind = 0;
        in >> f.records >> kind >> f.nanoseconds >> f.ratio >> std::ws;
        f.kind = static_cast<Kind>(kind);
        return in;
    }
};

/* Adds a figure to the file that ZOEAVL_BENCH_RESULTS names, if it names one. */
inline void keep(const Figure &figure) {
    if (const char *const path = std::getenv("ZOEAVL_BENCH_RESULTS"))
        std::ofstream(path, std::ios::app) << figure;
}

#endif
