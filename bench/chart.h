/* Line charts over tree sizes, as SVG. */
#ifndef ZOEAVL_BENCH_CHART_H
#define ZOEAVL_BENCH_CHART_H

#include <map>
#include <string>
#include <utility>
#include <vector>

std::string grouped(std::size_t number); /* with a comma ahead of every three digits */

struct Panel {
    std::string title;
    bool logarithmic; /* the vertical axis: powers of ten, or 0 and up with a line at 1 */
    std::vector<std::pair<std::string, std::map<std::size_t, double>>> lines;
};

/* The panels below each other. */
std::string chart(const std::vector<Panel> &panels);

#endif
