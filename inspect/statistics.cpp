/* Statistics of a tree. */
#include "zoeavl_inspect.h"

#include "survey.h"

namespace zoe::inspect {
namespace {

/* The least height of a binary tree with that many nodes. */
std::uint32_t least_height(std::uint64_t records) {
    std::uint32_t height = 0;
    for (; records != 0; records /= 2)
        height++;
    return height;
}

/* What a walk meets: how many steps by the binary logarithm of their distance in bytes. */
class Steps {
  public:
    void count(std::uintptr_t from, std::uintptr_t to) {
        constexpr std::uintptr_t line = 64;
        constexpr std::uintptr_t page = 4096;
        const std::uintptr_t distance = from < to ? to - from : from - to;
        same_line += from / line == to / line;
        same_page += from / page == to / page;
        by_logarithm[least_height(distance - 1)]++;
        all++;
    }
    void fill(ZOEAVLStatistics &statistics) const {
        if (all == 0)
            return;
        statistics.same_line = static_cast<double>(same_line) / static_cast<double>(all);
        statistics.same_page = static_cast<double>(same_page) / static_cast<double>(all);
        std::uint64_t passed = 0;
        unsigned logarithm = 0;
        while ((passed += by_logarithm[logarithm]) * 2 < all)
            logarithm++;
        statistics.median_distance = std::uint64_t{1} << logarithm;
    }

  private:
    std::uint64_t same_line = 0;
    std::uint64_t same_page = 0;
    std::uint64_t all = 0;
    std::uint64_t by_logarithm[64] = {};
};

} // namespace
} // namespace zoe::inspect

using namespace zoe::inspect;

int64_t zoeavl_statistics(const ZOEAVLTree *tree, const ZOEAVLp *rootp,
                          ZOEAVLStatistics *statistics) {
    Memory memory;
    Report report(nullptr);
    Survey survey(memory, report, false);
    *statistics = {};
    if (!survey.run(root_word(tree, rootp)))
        return ZOEAVL_INSPECT_FAILED;

    const Array<Found> &records = survey.records();
    std::uint64_t level = 0;
    std::uint64_t depths = 0;
    Steps steps;
    for (std::size_t place = 0; place < records.size(); place++) {
        const Found &record = records[place];
        if (record.depth > statistics->height)
            statistics->height = record.depth;
        level += ((record.links[0] | record.links[1]) & zoe::engine::balance_bit) == 0;
        depths += record.depth;
        if (place > 0)
            steps.count(records[place - 1].address, record.address);
    }
    statistics->records = records.size();
    statistics->least_height = least_height(records.size());
    steps.fill(*statistics);
    if (records.size() != 0) {
        const auto all = static_cast<double>(records.size());
        statistics->average_depth = static_cast<double>(depths) / all;
        statistics->level_share = static_cast<double>(level) / all;
    }
    return report.faults();
}
