/* Makes one report of the results of all runs, whichever compiler built them:
 *
 *     zoeavl_bench_report [--documents=PATH] FILE...
 *
 * writes tables in Markdown to the standard output, or to PATH.md with charts in PATH.svg. */
#include <algorithm>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <limits>
#include <map>
#include <sstream>
#include <string_view>
#include <vector>

#include "chart.h"
#include "results.h"

namespace {

constexpr const char *legend =
    "Nanoseconds for one operation (in builds, scans, walks, merges and batches: for one record; "
    "in\n"
    "range cuts: for one cut); a quarter of the rounds was faster. Of two figures with a slash, "
    "the\n"
    "first is of the contestant built by g++, the second built by clang++. The first contestant of "
    "a\n"
    "table is ours. In brackets stands how many times as fast it is: our build by g++ and our "
    "build by\n"
    "clang++, each **against the better build of the peer**; above 1 we are faster. Other forms of "
    "our\n"
    "own are compared within one build. All contestants of a build run in one process, on keys "
    "and\n"
    "records of their own, which stand in memory in random order, one after the other in changing\n"
    "turn, on a fresh order of keys each round, after a pass that warms the caches. A ratio within "
    "one\n"
    "build is the median over the rounds; one across builds, the quotient of the times.\n";

void mention(std::vector<std::string> &names, const std::string &name) {
    if (std::find(names.begin(), names.end(), name) == names.end())
        names.push_back(name);
}

/* What stands under one heading. */
struct Table {
    using Builds = std::map<std::string, Figure, std::greater<>>; /* g++ ahead of clang++ */
    using Row = std::map<std::string, Builds>;
    std::vector<std::string> operations, contestants;
    std::map<std::string, std::map<std::size_t, Row>> rows;

    void add(const Figure &figure) {
        mention(operations, figure.operation);
        mention(contestants, figure.contestant);
        rows[figure.operation][figure.records][figure.contestant][figure.build] = figure;
    }

    /* How many times as fast as `contestant` each build of the first contestant is. */
    [[nodiscard]] std::vector<double> leads(Row &row, const std::string &contestant) const {
        std::vector<double> found;
        for (const auto &[build, ours] : row[contestants.front()]) {
            double lead = std::numeric_limits<double>::infinity();
            for (const auto &[their_build, theirs] : row[contestant])
                if (their_build == build && theirs.ratio > 0)
                    lead = std::min(lead, theirs.ratio);
                else if (theirs.kind == Kind::peer)
                    lead = std::min(lead, theirs.nanoseconds / ours.nanoseconds);
            found.push_back(lead);
        }
        return found;
    }
};

std::string list(const std::vector<double> &values, int digits) {
    std::ostringstream text;
    for (const double value : values)
        text << (text.tellp() > 0 ? " / " : "") << std::fixed << std::setprecision(digits) << value;
    return text.str();
}

std::vector<double> times(const Table::Builds &builds) {
    std::vector<double> found;
    for (const auto &[build, figure] : builds)
        found.push_back(figure.nanoseconds);
    return found;
}

void print(std::ostream &out, Table &table) {
    out << "| operation | records |";
    for (const std::string &contestant : table.contestants)
        out << " " << contestant << " |";
    out << "\n|---|---:|";
    for (std::size_t i = 0; i < table.contestants.size(); i++)
        out << "---:|";
    out << "\n";
    for (const std::string &operation : table.operations)
        for (auto &[records, row] : table.rows[operation]) {
            out << "| " << operation << " | " << grouped(records) << " |";
            for (const std::string &contestant : table.contestants) {
                out << " " << list(times(row[contestant]), 1);
                if (contestant != table.contestants.front() && !row[contestant].empty() &&
                    !row[table.contestants.front()].empty() &&
                    row[contestant].begin()->second.kind != Kind::note)
                    out << " (" << list(table.leads(row, contestant), 2) << ")";
                out << " |";
            }
            out << "\n";
        }
}

/* The lower of our builds' leads over the better build of `peer`, a line for each operation. */
Panel leads_over(const std::string &peer, const std::string &title, Table &table) {
    Panel panel{"How many times as fast as " + peer + " (" + title + ")", false, {}};
    for (const std::string &operation : table.operations) {
        std::map<std::size_t, double> points;
        for (auto &[records, row] : table.rows[operation])
            if (!row[peer].empty()) {
                const std::vector<double> leads = table.leads(row, peer);
                points[records] = *std::min_element(leads.begin(), leads.end());
            }
        if (!points.empty())
            panel.lines.emplace_back(operation, points);
    }
    return panel;
}

/* The better build's time, a line for each contestant. */
Panel times_of(const std::string &operation, const std::string &title, Table &table) {
    Panel panel{"Nanoseconds: " + operation + " (" + title + ")", true, {}};
    for (const std::string &contestant : table.contestants) {
        std::map<std::size_t, double> points;
        for (auto &[records, row] : table.rows[operation])
            if (const std::vector<double> all = times(row[contestant]); !all.empty())
                points[records] = *std::min_element(all.begin(), all.end());
        if (!points.empty())
            panel.lines.emplace_back(contestant, points);
    }
    return panel;
}

void write(const std::string &path, const std::string &text) {
    std::ofstream file(path);
    if (!(file << text << std::flush)) {
        std::cerr << "zoeavl_bench_report: can't write " << path << "\n";
        std::exit(1);
    }
}

} // namespace

int main(int argc, char **argv) {
    std::vector<std::string> titles, builds;
    std::map<std::string, Table> tables;
    std::string documents;
    for (int i = 1; i < argc; i++) {
        const std::string_view argument = argv[i];
        if (argument.starts_with("--documents=")) {
            documents = argument.substr(argument.find('=') + 1);
            continue;
        }
        std::ifstream file(argv[i]);
        if (!file) {
            std::cerr << "zoeavl_bench_report: can't read " << argument << "\n";
            return 1;
        }
        for (Figure figure; file >> figure;) {
            mention(titles, figure.table);
            mention(builds, figure.build);
            tables[figure.table].add(figure);
        }
    }
    std::ostringstream text;
    std::vector<Panel> panels;
    text << "# Benchmark\n\n" << legend << "\nBuilt by";
    for (const std::string &build : builds)
        text << (build == builds.front() ? " " : "; ") << build;
    text << "; `-O2`.\n";
    for (const std::string &title : titles) {
        Table &table = tables[title];
        text << "\n## " << title << "\n\n";
        print(text, table);
        if (title == "i64")
            panels.push_back(leads_over("boost avl_set", title, table));
        if (title.starts_with("growth"))
            for (const std::string &operation : table.operations)
                panels.push_back(times_of(operation, title, table));
    }
    if (documents.empty()) {
        std::cout << text.str();
    } else {
        write(documents + ".md", text.str());
        write(documents + ".svg", chart(panels));
    }
    return 0;
}
