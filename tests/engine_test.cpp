/* The engine against the model: link words after every operation, on every small shape and on long
 * random runs; walks, lists, and what must not be written. */
#include <array>
#include <cstdlib>
#include <limits>

#include "guarded.h"
#include "operations.h"
#include "zoeavl.hpp"

namespace {

struct Record {
    ZOEAVLNODE node;
    std::int32_t key;
};
static_assert(sizeof(Record) % 8 == 4, "records then stand at every multiple of four");

ZOEAVL_ROOT root_for_i32() {
    return {nullptr, offsetof(Record, key), 1, nullptr};
}

/* Records with the odd keys 1, 3, 5, ...: each even number is a gap. */
std::vector<Record> records_with_odd_keys(std::size_t count) {
    std::vector<Record> records(count);
    for (std::size_t i = 0; i < count; i++)
        records[i].key = static_cast<std::int32_t>(2 * i + 1);
    return records;
}

model::Tree model_of(std::vector<Record> &records, const model::ShapeP &shape) {
    model::Tree tree{{}, shape};
    for (std::size_t i = 0; i < model::size(shape); i++)
        tree.order.push_back(&records[i].node);
    return tree;
}

/* The C++ face in the form of a table. */
using Face = zoe::detail::tree_operations<zoe::detail::member_hook<&Record::node>, &Record::key>;
ZOEAVLp node_of(Record *record) {
    return record != nullptr ? &record->node : nullptr;
}
const ZOEAVLOpTable face{
    [](ZOEAVLRootp root, ZOEAVLp node) {
        return node_of(&*Face(&root->headptr).insert(*reinterpret_cast<Record *>(node)).first);
    },
    [](ZOEAVLRootp root, const void *key) {
        Face index(&root->headptr);
        const auto found = index.find(*static_cast<const std::int32_t *>(key));
        return found == index.end() ? nullptr : node_of(&*found);
    },
    [](ZOEAVLRootp root, const void *key, ZOEAVLp *previous, ZOEAVLp *next) {
        const auto [below, match, above] =
            Face(&root->headptr).neighbours(*static_cast<const std::int32_t *>(key));
        if (previous != nullptr)
            *previous = node_of(below);
        if (next != nullptr)
            *next = node_of(above);
        return node_of(match);
    },
    [](ZOEAVLRootp root, const void *key) {
        return node_of(Face(&root->headptr).extract(*static_cast<const std::int32_t *>(key)));
    },
    nullptr,
    nullptr,
    nullptr,
    nullptr};

/* Looks up every key and every gap, exactly and with neighbours, for all choices of outputs. */
void check_lookups(const ZOEAVLOpTable &table, ZOEAVL_ROOT &root, const model::Tree &tree) {
    const auto unwritten = reinterpret_cast<ZOEAVLp>(&root);
    for (std::size_t twice = 0; twice <= 2 * tree.order.size(); twice++) {
        const std::int32_t key = static_cast<std::int32_t>(twice);
        const bool present = twice % 2 == 1;
        const ZOEAVLp expected = present ? tree.order[twice / 2] : nullptr;
        const ZOEAVLp below = tree.before(twice / 2);
        const ZOEAVLp above = tree.at((twice + 1) / 2);
        ASSERT_EQ(table.finder(&root, &key), expected);
        for (const unsigned outputs : {0U, 1U, 2U, 3U}) {
            ZOEAVLp previous = unwritten;
            ZOEAVLp next = unwritten;
            ASSERT_EQ(table.fuzzier(&root, &key, outputs & 1 ? &previous : nullptr,
                                    outputs & 2 ? &next : nullptr),
                      expected);
            ASSERT_EQ(previous, outputs & 1 ? below : unwritten);
            ASSERT_EQ(next, outputs & 2 ? above : unwritten);
        }
    }
}

/* ZOEAVL_EXHAUSTIVE in the environment asks for more, 24 at most: 32 million operations. */
std::size_t largest_exhaustive_size() {
    const char *const asked = std::getenv("ZOEAVL_EXHAUSTIVE");
    return asked != nullptr ? std::strtoul(asked, nullptr, 10) : 20;
}

/* Flattens it without a tail, with one, and with one that stands in the root word. */
void check_lists(ZOEAVLTree &object, const model::Tree &tree) {
    ZOEAVLp &head = object.root.headptr;
    const ZOEAVLp last = tree.before(tree.order.size());
    ZOEAVLp apart = reinterpret_cast<ZOEAVLp>(&object);
    for (ZOEAVLp *const tail : {static_cast<ZOEAVLp *>(nullptr), &apart, &head}) {
        model::build(tree, &head);
        ASSERT_EQ(ZOEAVLSTFirst(nullptr, &head), tree.at(0));
        ASSERT_EQ(ZOEAVLSTLast(nullptr, &head), last);
        ASSERT_EQ(tail != &head ? ZOEAVLToList(&object, tail)
                                : ZOEAVLSTToList(nullptr, &head, tail),
                  tree.at(0));
        ASSERT_TRUE(tail == nullptr || *tail == last);
        ASSERT_EQ(head, tail == &head ? last : tree.root());
        ASSERT_TRUE(model::is_list(tree));
    }
}

TEST(Engine, DoesEveryOperationOnEverySmallShape) {
    const std::size_t largest = largest_exhaustive_size();
    std::vector<Record> records = records_with_odd_keys(largest);
    for (std::size_t nodes = 0; nodes <= largest; nodes++)
        for (const model::ShapeP &shape : model::all_shapes(nodes))
            for (const ZOEAVLOpTable *const table : {&cbi32, &order_of_integers, &face}) {
                const model::Tree tree = model_of(records, shape);
                ZOEAVLTree object{};
                object.root = root_for_i32();
                ZOEAVL_ROOT &root = object.root;
                ASSERT_NO_FATAL_FAILURE(check_lists(object, tree));
                model::build(tree, &root.headptr);
                ASSERT_TRUE(model::walks_alike(tree, &root));
                ASSERT_NO_FATAL_FAILURE(check_lookups(*table, root, tree));
                ASSERT_TRUE(model::same(tree, root.headptr));

                for (std::size_t gap = 0; gap <= nodes; gap++) {
                    model::Tree expected = tree;
                    model::build(tree, &root.headptr);
                    Record added{{&records[0].node, nullptr}, static_cast<std::int32_t>(2 * gap)};
                    ASSERT_EQ(table->adder(&root, &added.node), &added.node);
                    expected.insert(gap, &added.node);
                    ASSERT_TRUE(model::same(expected, root.headptr)) << nodes << " nodes, " << gap;
                }
                for (std::size_t index = 0; index < nodes; index++) {
                    model::Tree expected = tree;
                    model::build(tree, &root.headptr);
                    const ZOEAVLp gone = tree.order[index];
                    ASSERT_EQ(table->killer(&root, &records[index].key), gone);
                    expected.remove(index);
                    ASSERT_TRUE(model::same(expected, root.headptr))
                        << nodes << " nodes, " << index;
                    ASSERT_EQ(model::words_of(gone), (model::Words{0, 0}));
                }
            }
}

TEST(Engine, AgreesWithTheModelOnALongRandomRun) {
    RandomBytes random;
    Operations run({&cbi32, units_less<std::int32_t>, 4, 1, Form::direct}, false,
                   sizeof(ZOEAVLNODE), 1000);
    for (int step = 0; step < 20000 && !HasFailure(); step++)
        run.step(random);
    expect_room_for_the_longest_path(run.root, cbi32.adder, cbi32.killer);
}

TEST(Engine, WritesNothingOnEqualKeysSearchesAndAbsentKeys) {
    constexpr std::size_t count = 500;
    Guarded memory(count * sizeof(Record));
    auto *const records = reinterpret_cast<Record *>(memory.begin());
    /* A root whose memory ends ahead of `rw`, which a plain operation doesn't read. */
    Guarded root_memory(sizeof(ZOEAVL_ROOT));
    auto *const root =
        reinterpret_cast<ZOEAVL_ROOT *>(root_memory.end() - offsetof(ZOEAVL_ROOT, rw));
    root->headptr = nullptr;
    root->keyoff = offsetof(Record, key);
    for (std::size_t i = 0; i < count; i++) {
        records[i].key = static_cast<std::int32_t>(2 * (i * 211 % count));
        ASSERT_EQ(cbi32.adder(root, &records[i].node), &records[i].node);
    }
    memory.allow(PROT_READ);
    root_memory.allow(PROT_READ);
    std::size_t walked = 0;
    for (ZOEAVLp node = ZOEAVLFirst(root); node != nullptr; node = ZOEAVLNext(node))
        walked++;
    for (ZOEAVLp node = ZOEAVLLast(root); node != nullptr; node = ZOEAVLPrev(node))
        walked++;
    EXPECT_EQ(walked, 2 * count);
    for (std::int32_t key = -1; key <= static_cast<std::int32_t>(2 * count); key++) {
        Record twin{{nullptr, nullptr}, key};
        ZOEAVLp previous;
        ZOEAVLp next;
        const ZOEAVLp found = cbi32.finder(root, &key);
        EXPECT_EQ(found != nullptr, key % 2 == 0 && key < static_cast<std::int32_t>(2 * count));
        EXPECT_EQ(cbi32.fuzzier(root, &key, &previous, &next), found);
        if (found != nullptr) {
            EXPECT_EQ(cbi32.adder(root, &twin.node), found);
        } else {
            EXPECT_EQ(cbi32.killer(root, &key), nullptr);
        }
    }
}

TEST(Walking, MasksEveryTagThatAWordMayCarry) {
    Record a{};
    Record b{};
    for (const std::uintptr_t end : {0U, 1U, 2U, 3U}) {
        a.node = {reinterpret_cast<ZOEAVLp>(end),
                  reinterpret_cast<ZOEAVLp>(model::word(&b.node) | 1)};
        b.node = {reinterpret_cast<ZOEAVLp>(model::word(&a.node) | 3),
                  reinterpret_cast<ZOEAVLp>(end)};
        const ZOEAVL_ROOT root{&a.node, 0, 0, nullptr};
        EXPECT_EQ(ZOEAVLFirst(&root), &a.node);
        EXPECT_EQ(ZOEAVLLast(&root), &b.node);
        EXPECT_EQ(ZOEAVLPrev(&b.node), &a.node);
    }
    /* The first node's thread isn't tested for being one: any address is followed. */
    b.node.llink = reinterpret_cast<ZOEAVLp>(model::word(&a.node) | 3);
    a.node.llink = nullptr;
    const ZOEAVL_ROOT root{&b.node, 0, 0, nullptr};
    EXPECT_EQ(ZOEAVLFirst(&root), &a.node);
    EXPECT_EQ(ZOEAVLNext(nullptr), nullptr);
    EXPECT_EQ(ZOEAVLPrev(nullptr), nullptr);
}

TEST(Lists, NullIsStoredAtTheTailAheadOfTheDescent) {
    std::vector<Record> records = records_with_odd_keys(3);
    ZOEAVL_ROOT root = root_for_i32();
    for (Record &record : records)
        cbi32.adder(&root, &record.node);
    ZOEAVLNODE &top = records[1].node;
    EXPECT_EQ(ZOEAVLSTToList(nullptr, &root.headptr, &top.llink), &top);
    EXPECT_EQ(model::words_of(&top).first, model::word(&records[2].node));
}

/* Both forms of a turn, with one word to select and with two, on every pair of boundary values. */
template <class Integer>
void compare_selections() {
    using zoe::engine::PortableSelect;
    using zoe::engine::Select;
    constexpr Integer low = std::numeric_limits<Integer>::min();
    constexpr Integer high = std::numeric_limits<Integer>::max();
    constexpr Integer values[] = {low, low + 1, high / 2, high / 2 + 1, 0, 1, high - 1, high};
    for (const Integer sought : values)
        for (const Integer key : values) {
            std::array<std::uintptr_t, 3> words{10, 20, 30};
            std::array<std::uintptr_t, 3> portable = words;
            EXPECT_EQ(Select::equal(sought, key, words[0], 1), sought == key);
            EXPECT_EQ(Select::equal(sought, key, words[1], 2, words[2], 3), sought == key);
            PortableSelect::equal(sought, key, portable[0], 1);
            PortableSelect::equal(sought, key, portable[1], 2, portable[2], 3);
            EXPECT_EQ(words, portable) << sought << ' ' << key;
        }
}

TEST(Selection, IsThatOfThePortableForm) {
    compare_selections<int>();
    compare_selections<unsigned>();
    compare_selections<long>();
    compare_selections<unsigned long>();
}

} // namespace
