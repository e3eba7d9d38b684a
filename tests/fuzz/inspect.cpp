/* The inspection of trees whose words were overwritten: it ends, faults nowhere, changes nothing,
 * finds nothing in a sound tree and something in every other. */
#include <cstring>

#include <sys/mman.h>
#include <zoeavl_inspect.h>

#include "../model.h"
#include "fuzz.h"

namespace {

struct Record {
    ZOEAVLNODE node;
    std::int64_t key;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static std::FILE *const nowhere = std::fopen("/dev/null", "w");
    static void *const closed = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    FuzzedDataProvider bytes(data, size);
    std::vector<Record> records(bytes.ConsumeIntegralInRange<std::size_t>(0, 20));
    ZOEAVLTree tree{};
    std::memcpy(tree.tag, "nevo", sizeof tree.tag);
    tree.root = {nullptr, offsetof(Record, key), 1, nullptr};
    tree.optable = &cbi64;
    std::memcpy(&tree.adder, &cbi64, 32);
    for (std::size_t i = 0; i < records.size(); i++) {
        records[i].key = static_cast<std::int64_t>(i);
        cbi64.adder(&tree.root, &records[i * 23 % records.size()].node);
    }
    DEMAND(zoeavl_check(&tree, ZOEAVL_CHECK_ORDER, nowhere) == 0);

    const std::vector<Record> sound = records;
    const ZOEAVLp sound_head = tree.root.headptr;
    while (bytes.remaining_bytes() > 0) {
        const auto pick = bytes.ConsumeIntegralInRange<std::size_t>(0, records.size());
        const auto other = bytes.ConsumeIntegralInRange<std::size_t>(0, records.size());
        const auto tags = bytes.ConsumeIntegralInRange<std::uintptr_t>(0, 3);
        std::uintptr_t word = other < records.size() ? model::word(&records[other].node)
                                                     : bytes.ConsumeIntegral<std::uint64_t>();
        if (bytes.ConsumeIntegral<std::uint8_t>() == 0)
            word = reinterpret_cast<std::uintptr_t>(closed);
        const auto link = reinterpret_cast<ZOEAVLp>(word + tags);
        if (pick == records.size())
            tree.root.headptr = link;
        else
            (bytes.ConsumeBool() ? records[pick].node.llink : records[pick].node.rlink) = link;
    }
    const std::vector<Record> before = records;
    std::size_t changed = 0;
    for (std::size_t i = 0; i < records.size(); i++)
        changed += (records[i].node.llink != sound[i].node.llink) +
                   (records[i].node.rlink != sound[i].node.rlink);
    const bool same_head = tree.root.headptr == sound_head;
    for (const int level : {ZOEAVL_CHECK_LINKS, ZOEAVL_CHECK_HEIGHTS, ZOEAVL_CHECK_ORDER}) {
        const std::int64_t faults = zoeavl_check(&tree, level, nowhere);
        ZOEAVLStatistics statistics;
        DEMAND(zoeavl_statistics(&tree, nullptr, &statistics) >= 0);
        DEMAND(zoeavl_draw(&tree, nullptr, nullptr, nowhere) >= 0);
        DEMAND(same_head && changed == 0 ? faults == 0 : faults >= 0);
        if (same_head && changed == 1 && level >= ZOEAVL_CHECK_HEIGHTS)
            DEMAND(faults > 0 || statistics.records < records.size());
    }
    for (std::size_t i = 0; i < records.size(); i++)
        DEMAND(model::words_of(&records[i].node) ==
               model::words_of(const_cast<ZOEAVLp>(&before[i].node)));
    return 0;
}
