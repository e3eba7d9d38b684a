/* The key types: every table, plain and locked, against the model; what a comparison reads; and the
 * tables as objects. */
#include <array>
#include <memory>
#include <span>

#include "guarded.h"
#include "lock_discipline.h"
#include "operations.h"
#include "zoeavl_inspect.h"

namespace {

/* The types of the library's tables. */
const std::span<const Type> built_in(types, std::size(types) - 1);

TEST(Keys, OrderAsTheirValuesDo) {
    RandomBytes random;
    for (const Type &type : built_in)
        for (const bool locked : {false, true})
            for (const std::int32_t keylen : {type.keylen, (type.keylen + 2) / 3, 1}) {
                SCOPED_TRACE(testing::Message() << "unit " << type.unit << " length " << keylen);
                Type shorter = type;
                shorter.keylen = keylen;
                Operations run(shorter, locked, locked ? 16 + 3 : -27);
                if (type.keylen == 1)
                    run.root.keylen = -123456; // isn't read
                for (int step = 0; step < 1500 && !HasFailure(); step++)
                    run.step(random);
                ZOEAVLTree tree{};
                std::memcpy(tree.tag, "nevo", sizeof tree.tag);
                tree.optable = type.table;
                tree.root = run.root;
                ASSERT_EQ(zoeavl_check(&tree, ZOEAVL_CHECK_ORDER, stderr), 0);
                Operations::of(run.expected.order.front())
                    .set(shorter, run.root.keyoff, Operations::of(run.expected.order.back()).key);
                ASSERT_GT(zoeavl_check(&tree, ZOEAVL_CHECK_ORDER, nullptr), 0);
            }
}

TEST(Keys, NothingOfATreeIsTouchedOutsideItsLock) {
    for (const Type &type : built_in) {
        SCOPED_TRACE(testing::Message() << "type " << &type - types);
        RecordingHost host;
        ZOEAVLTree tree{};
        tree.root = {nullptr, sizeof(ZOEAVLNODE), type.keylen, nullptr};
        std::memcpy(&tree.adder, &type.table->safe_adder, 32);
        expect_lock_discipline(host, tree, type);
    }
}

TEST(KeyReads, NothingBeyondAKeyIsRead) {
    for (const Type &type : built_in) {
        ZOEAVL_ROOT root{nullptr, sizeof(ZOEAVLNODE), type.keylen, nullptr};
        std::vector<std::unique_ptr<Guarded>> memory;
        const auto at_the_end = [&](const Key &bytes) {
            memory.push_back(std::make_unique<Guarded>(256));
            char *const place = memory.back()->end() - bytes.size();
            bytes.copy(place, bytes.size());
            return place;
        };
        ZOEAVLp around[] = {reinterpret_cast<ZOEAVLp>(&root), reinterpret_cast<ZOEAVLp>(&root)};
        auto *const bare = reinterpret_cast<ZOEAVLp>(at_the_end(Key(sizeof(ZOEAVLNODE), '\1')));
        EXPECT_EQ(type.table->finder(&root, nullptr), nullptr) << "no key is read";
        EXPECT_EQ(type.table->killer(&root, nullptr), nullptr);
        EXPECT_EQ(type.table->fuzzier(&root, nullptr, &around[0], &around[1]), nullptr);
        EXPECT_EQ(std::pair(around[0], around[1]), std::pair(ZOEAVLp{}, ZOEAVLp{}));
        EXPECT_EQ(type.table->adder(&root, bare), bare);
        EXPECT_EQ(model::words_of(bare), (model::Words{2, 2}));
        root.headptr = nullptr;
        for (const Key &key : sorted_keys(type, 20)) {
            KeyedRecord record{};
            record.set(type, sizeof(ZOEAVLNODE), key);
            const char *const kept = at_the_end(key);
            if (type.form != Form::direct)
                std::memcpy(record.after, &kept, sizeof kept);
            const Key field(record.after, type.form == Form::direct    ? key.size()
                                          : type.form == Form::varying ? 12
                                                                       : 8);
            const char *const sought = at_the_end(field);
            /* A node's words may stand at multiples of four alone: leave a gap ahead of odd keys.
             */
            const std::size_t gap = (4 - field.size() % 4) % 4;
            root.keyoff = static_cast<std::int32_t>(sizeof(ZOEAVLNODE) + gap);
            auto *const node =
                reinterpret_cast<ZOEAVLp>(at_the_end(Key(sizeof(ZOEAVLNODE) + gap, '\0') + field));
            EXPECT_EQ(type.table->finder(&root, sought), nullptr);
            EXPECT_EQ(type.table->adder(&root, node), node);
            EXPECT_EQ(type.table->fuzzier(&root, sought, nullptr, nullptr), node);
            EXPECT_EQ(type.table->killer(&root, sought), node);
            EXPECT_EQ(type.table->adder(&root, node), node);
        }
    }
}

TEST(KeyReads, ArraysStopAtTheFirstDifference) {
    for (const ZOEAVLOpTable *table : {&cbia32, &cbua32, &cbia64, &cbua64}) {
        const std::size_t width = table == &cbia32 || table == &cbua32 ? 4 : 8;
        Guarded nodes(64);
        Guarded sought(64);
        auto *const node = reinterpret_cast<ZOEAVLp>(nodes.end() - sizeof(ZOEAVLNODE) - 2 * width);
        ZOEAVL_ROOT root{nullptr, sizeof(ZOEAVLNODE), 1000, nullptr};
        char *const key = sought.end() - 2 * width;
        std::memset(sought.begin(), 0, 64);
        key[width] = 1;
        EXPECT_EQ(table->adder(&root, node), node);
        EXPECT_EQ(table->finder(&root, key), nullptr);
        root.keylen = -3;
        EXPECT_EQ(table->finder(&root, key), node) << "no element counts";
    }
}

TEST(KeyReads, CharactersWithoutEndStopAtTheFirstDifference) {
    for (const ZOEAVLOpTable *table : {&cbchar, &cbzochar})
        for (const std::size_t size : {4U, 8U, 12U, 2000U}) {
            Guarded nodes(size + sizeof(ZOEAVLNODE));
            Guarded sought(size);
            auto *const node = reinterpret_cast<ZOEAVLp>(nodes.end() - sizeof(ZOEAVLNODE) - size);
            ZOEAVL_ROOT root{nullptr, sizeof(ZOEAVLNODE), -1, nullptr};
            table->adder(&root, node);
            for (const int last : {0, 2, 0x80}) { // which wide characters have for their sign
                const bool after = last == 0 || (last == 0x80 && table == &cbzochar);
                std::memset(nodes.end() - 1, last, 1);
                std::memset(sought.end() - 1, 1, 1);
                ZOEAVLp around[2];
                EXPECT_EQ(table->fuzzier(&root, sought.end() - size, &around[0], &around[1]),
                          nullptr);
                EXPECT_EQ(around[after ? 0 : 1], node) << size;
            }
            root.keylen = 0;
            EXPECT_EQ(table->finder(&root, sought.end() - size), node) << "no character counts";
        }
}

TEST(DoubleKeys, EveryPairOfBitPatternsComparesAsDoublesDo) {
    std::vector<Key> keys;
    for (const std::uint64_t magnitude :
         {0x0000000000000000UL, 0x0000000000000001UL, 0x000FFFFFFFFFFFFFUL, 0x0010000000000000UL,
          0x3FF0000000000000UL, 0x3FF0000000000001UL, 0x7FEFFFFFFFFFFFFFUL, 0x7FF0000000000000UL,
          0x7FF0000000000001UL, 0x7FF0FF0000000000UL, 0x7FF8E30000000000UL, 0x7FFFE4FFFFFFFFFFUL,
          0x7FFFFFFFFFFFFFFFUL})
        for (const std::uint64_t sign : {0x0000000000000000UL, 0x8000000000000000UL}) {
            const std::uint64_t bits = magnitude | sign;
            keys.emplace_back(reinterpret_cast<const char *>(&bits), sizeof bits);
        }
    for (const Type &type : types)
        if (type.less == units_less<double> || type.less == missing_less)
            for (const Key &sought : keys)
                for (const Key &there : keys) {
                    ZOEAVL_ROOT root{nullptr, sizeof(ZOEAVLNODE), 1, nullptr};
                    KeyedRecord old{};
                    KeyedRecord added{};
                    old.set(type, root.keyoff, there);
                    added.set(type, root.keyoff, sought);
                    type.table->adder(&root, &old.node);
                    type.table->adder(&root, &added.node);
                    const std::string both = testing::PrintToString(std::pair(sought, there));
                    EXPECT_EQ(ZOEAVLFirst(&root) == &added.node, type.less(sought, there)) << both;
                    EXPECT_EQ(ZOEAVLLast(&root) == &added.node, type.less(there, sought)) << both;
                }
}

TEST(Tables, AreAdjacentConstantAndShareNoFunction) {
    const ZOEAVLOpTable *const tables[] = {
        &cbchar, &cbzochar, &cbvchar, &cbvzochar, &cbi32,   &cbi64,   &cbu32,  &cbu64,
        &cbia32, &cbia64,   &cbua32,  &cbua64,    &cbdbl,   &cbmdbl,  &cbi32p, &cbi64p,
        &cbu32p, &cbu64p,   &cbia32p, &cbia64p,   &cbua32p, &cbua64p, &cbdblp, &cbmdblp};
    std::set<const void *> functions;
    for (std::size_t i = 0; i < std::size(tables); i++) {
        EXPECT_EQ(reinterpret_cast<const char *>(tables[i]),
                  reinterpret_cast<const char *>(&cbchar) + 64 * i);
        std::array<const void *, 8> slots{};
        std::memcpy(slots.data(), tables[i], sizeof slots);
        functions.insert(slots.begin(), slots.end());
    }
    EXPECT_EQ(functions.size(), 192U);

    EXPECT_DEATH(const_cast<ZOEAVLOpTable &>(cbmdblp).adder = nullptr, "");
}

} // namespace
