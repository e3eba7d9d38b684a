/* The inspection of trees in which anything may stand: it ends, faults nowhere, changes nothing,
 * and finds nothing in a sound tree and something in every other. Unit tests feed it with random
 * bytes and a fuzz target with its input. */
#ifndef ZOEAVL_TESTS_CORRUPTED_TREE_H
#define ZOEAVL_TESTS_CORRUPTED_TREE_H

#include <algorithm>
#include <cstring>

#include "choices.h"
#include "guarded.h"
#include "model.h"
#include "zoeavl_inspect.h"

class CorruptedTree {
  public:
    explicit CorruptedTree(std::size_t count_)
        : count(count_), memory(count * sizeof(Record) + 1),
          records(reinterpret_cast<Record *>(memory.begin())) {
        std::memcpy(tree.tag, "nevo", sizeof tree.tag);
        tree.root = {nullptr, offsetof(Record, key), 1, nullptr};
        tree.optable = &cbvchar;
        for (std::size_t i = 0; i < count; i++) {
            Record &record = records[i * 397 % count];
            const int length =
                std::snprintf(record.text, sizeof record.text, "%zx", i * 0x9E3779B97F4A7C15);
            record.key = {record.text, static_cast<std::uint32_t>(length)};
            cbvchar.adder(&tree.root, &record.node);
        }
        sound.assign(records, records + count);
        DEMAND(zoeavl_check(&tree, ZOEAVL_CHECK_ORDER, nowhere()) == 0);
    }

    /* Writes over some words, looks at the tree, and puts them back. */
    template <class Bytes>
    void step(Bytes &bytes) {
        std::uintptr_t changed_links = 0;
        const ZOEAVLp head = tree.root.headptr;
        if (bytes.ConsumeIntegralInRange(0, 15) == 0)
            tree.root.headptr = reinterpret_cast<ZOEAVLp>(some_word(bytes));
        const auto changes = bytes.ConsumeIntegralInRange(0, 4);
        for (int i = 0; i < changes && count != 0; i++) {
            Record &record = some_record(bytes);
            const auto place = bytes.template ConsumeIntegralInRange<std::size_t>(0, 3);
            static_assert(offsetof(Record, key) == 2 * sizeof(std::uintptr_t));
            std::uintptr_t words[3];
            std::memcpy(words, &record, sizeof words);
            if (place == std::size(words))
                record.key.length =
                    bytes.template ConsumeIntegralInRange<std::uint32_t>(0, 1 << 20);
            else if (bytes.ConsumeBool())
                words[place] ^= std::uintptr_t{1} << bytes.ConsumeIntegralInRange(0, 63);
            else
                words[place] = some_word(bytes);
            std::memcpy(&record, words, sizeof words);
        }
        for (std::size_t i = 0; i < count; i++)
            changed_links += (records[i].node.llink != sound[i].node.llink) +
                             (records[i].node.rlink != sound[i].node.rlink);
        const bool same_head = tree.root.headptr == head;
        const std::vector<char> before(memory.begin(), memory.begin() + count * sizeof(Record));
        const int level =
            bytes.template ConsumeIntegralInRange<int>(ZOEAVL_CHECK_LINKS, ZOEAVL_CHECK_ORDER);
        const std::int64_t faults = zoeavl_check(&tree, level, nowhere());
        ZOEAVLStatistics statistics;
        DEMAND(zoeavl_statistics(&tree, nullptr, &statistics) >= 0);
        DEMAND(faults >= 0 && (faults == 0 || changes != 0 || !same_head));
        if (same_head && changed_links > 0 && level >= ZOEAVL_CHECK_HEIGHTS) {
            /* Of few records a smaller tree may be left, or another sound one. */
            DEMAND(faults > 0 ||
                   (count <= 20 && (changed_links > 1 || statistics.records < count)));
        }
        if (bytes.ConsumeIntegralInRange(0, 63) == 0) {
            DEMAND(zoeavl_draw(&tree, nullptr, nullptr, nowhere()) >= 0);
        }
        DEMAND(std::equal(before.begin(), before.end(), memory.begin()));
        std::copy(sound.begin(), sound.end(), records);
        tree.root.headptr = head;
    }

  private:
    struct Record {
        ZOEAVLNODE node;
        ZOEAVLVaryingKey key;
        char text[24];
    };

    static std::FILE *nowhere() {
        static std::FILE *const null_device = std::fopen("/dev/null", "w");
        return null_device;
    }
    template <class Bytes>
    Record &some_record(Bytes &bytes) {
        return records[bytes.template ConsumeIntegralInRange<std::size_t>(0, count - 1)];
    }
    template <class Bytes>
    std::uintptr_t some_word(Bytes &bytes) {
        const auto choice = bytes.ConsumeIntegralInRange(0, 15);
        if (choice == 0)
            return reinterpret_cast<std::uintptr_t>(memory.end());
        if (choice < 6 || count == 0)
            return bytes.template ConsumeIntegral<std::uint64_t>() >>
                   bytes.ConsumeIntegralInRange(0, 63);
        return model::word(&some_record(bytes).node) +
               bytes.template ConsumeIntegralInRange<std::uintptr_t>(0, choice < 10 ? 63 : 3);
    }

    const std::size_t count;
    /* Apart from all else that can be read, since a key may be said to be of any length. */
    const Guarded memory;
    Record *const records;
    std::vector<Record> sound;
    ZOEAVLTree tree{};
};

#endif
