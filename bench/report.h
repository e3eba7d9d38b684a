/* What a run found, as one table and one chart. */
#ifndef ZOEAVL_BENCH_REPORT_H
#define ZOEAVL_BENCH_REPORT_H

#include <map>
#include <string>
#include <vector>

struct Figure {
    std::string contestant;
    double nanoseconds; /* median for one operation */
    double ratio;       /* median of paired ratios: its time over zoeavl's */
};

struct Row {
    std::string operation, key;
    std::size_t records;
    std::vector<Figure> figures;
};

class Report {
  public:
    explicit Report(std::map<std::string, std::size_t> overheads_)
        : overheads(std::move(overheads_)) {}
    void add(const Row &row) { rows.push_back(row); }
    [[nodiscard]] bool empty() const { return rows.empty(); }

    /* The table as Markdown, one row for each operation, key type and size. */
    [[nodiscard]] std::string table() const;

    /* zoeavl against `peer` on `key`, a line for each operation over the sizes, as SVG. */
    [[nodiscard]] std::string chart(const std::string &peer, const std::string &key) const;

  private:
    [[nodiscard]] std::vector<std::string> contestants() const;
    std::map<std::string, std::size_t> overheads;
    std::vector<Row> rows;
};

#endif
