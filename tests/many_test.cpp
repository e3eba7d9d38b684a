/* What works on many records at a time: building, scanning, cutting, joining and look-ups in
 * lockstep leave, or read, trees that are sound to the last bit. */
#include <random>

#include "index_operations.h"
#include "zoeavl/engine/building.hpp"
#include "zoeavl/engine/cutting.hpp"
#include "zoeavl/engine/scanning.hpp"

namespace {

namespace core = zoe::engine;

struct Record {
    ZOEAVLNODE node;
    std::int32_t key;
};

/* Records with the keys 1, 3, 5, ..., so that each even number is a gap. */
struct Records {
    explicit Records(std::size_t count) : all(count), order(count) {
        for (std::size_t i = 0; i < count; i++) {
            all[i].key = static_cast<std::int32_t>(2 * i + 1);
            order[i] = &all[i].node;
        }
    }
    [[nodiscard]] std::vector<ZOEAVLp> slice(std::size_t from, std::size_t to) const {
        return {order.begin() + static_cast<std::ptrdiff_t>(from),
                order.begin() + static_cast<std::ptrdiff_t>(to)};
    }
    /* Links the records from `from` on as the shape says. */
    ZOEAVLp linked(const model::ShapeP &shape, std::size_t from = 0) const {
        ZOEAVLp head = nullptr;
        model::build({slice(from, from + model::size(shape)), shape}, &head);
        return head;
    }
    std::vector<Record> all;
    std::vector<ZOEAVLp> order;
};

struct Search {
    static constexpr bool takes_long = false;
    [[nodiscard]] core::Outcome compare(ZOEAVLp node) const {
        const std::int32_t key = reinterpret_cast<const Record *>(node)->key;
        return {sought == key, sought > key};
    }
    std::int32_t sought;
};

/* True if the tree holds just these records, balanced, each word right. */
bool sound(const std::vector<ZOEAVLp> &order, ZOEAVLp head) {
    const model::ShapeP shape = head != nullptr ? model::shape_of(head) : nullptr;
    return model::size(shape) == order.size() && model::is_avl(shape) &&
           model::same(model::Tree{order, shape}, head);
}

/* The path into the gap ahead of the record with that index: by a search for it, or on from the
 * search for one of its neighbours. */
struct Path {
    Path(ZOEAVLp head, std::size_t index, unsigned way) : end(steps) {
        if (head == nullptr)
            return;
        const auto gap = static_cast<std::int32_t>(2 * index);
        const core::Landing landing =
            core::descend(head, Search{gap + static_cast<std::int32_t>(way % 3) - 1}, end);
        if (landing.found)
            end = core::into_gap(landing.node, way % 3 == 0 ? core::right : core::left, end);
    }
    core::Step steps[core::path_capacity];
    core::Step *end;
};

void check_cuts(const Records &records, const model::ShapeP &shape, std::size_t from,
                std::size_t to) {
    const std::size_t count = model::size(shape);
    ZOEAVLp head = records.linked(shape);
    {
        const Path low(head, from, static_cast<unsigned>(to));
        const Path high(head, to, static_cast<unsigned>(from));
        std::vector<ZOEAVLp> seen;
        core::scan_between(low.steps, low.end, high.steps, high.end,
                           [&](ZOEAVLp node) { seen.push_back(node); });
        ASSERT_EQ(seen, records.slice(from, to));
        const core::RangeCut cut = core::cut_between(low.steps, low.end, high.steps, high.end);
        std::vector<ZOEAVLp> rest = records.slice(0, from);
        for (std::size_t i = to; i < count; i++)
            rest.push_back(records.order[i]);
        ASSERT_TRUE(sound(records.slice(from, to), cut.range)) << count << ' ' << from << ' ' << to;
        ASSERT_TRUE(sound(rest, cut.rest)) << count << ' ' << from << ' ' << to;
    }
    if (to != count)
        return;
    head = records.linked(shape);
    const Path path(head, from, 1);
    const core::Divided cut = core::cut(path.steps, path.end);
    ASSERT_TRUE(sound(records.slice(0, from), cut.pieces[core::left].root()));
    ASSERT_TRUE(sound(records.slice(from, count), cut.pieces[core::right].root()));
    for (const core::Subtree &piece : cut.pieces)
        ASSERT_EQ(piece.height, core::whole(piece.root()).height);
    ASSERT_EQ(cut.height, model::height(shape));
}

TEST(Many, CutsEverySmallShapeAtEveryPairOfGaps) {
    const Records records(12);
    for (std::size_t count = 0; count <= records.order.size(); count++)
        for (const model::ShapeP &shape : model::all_shapes(count))
            for (std::size_t from = 0; from <= count; from++)
                for (std::size_t to = from; to <= count; to++)
                    ASSERT_NO_FATAL_FAILURE(check_cuts(records, shape, from, to));
}

TEST(Many, JoinsEveryPairOfSmallShapes) {
    const Records records(18);
    for (std::size_t low = 0; low <= 9; low++)
        for (const model::ShapeP &l : model::all_shapes(low))
            for (std::size_t high = 0; high <= 9; high++)
                for (const model::ShapeP &r : model::all_shapes(high))
                    ASSERT_TRUE(
                        sound(records.slice(0, low + high),
                              core::concatenate(records.linked(l), records.linked(r, low))));
}

/* Built, cut and joined over and over, by a model of nothing but order. */
TEST(Many, StaysSoundInLargeTrees) {
    std::mt19937 random(4);
    for (const std::size_t count : {100U, 5000U}) {
        const Records records(count);
        core::Builder builder(count);
        for (const ZOEAVLp node : records.order)
            builder.append(node);
        ZOEAVLp head = builder.finish();
        for (int round = 0; round < 100; round++) {
            std::size_t at[] = {random() % (count + 1), random() % (count + 1)};
            std::sort(std::begin(at), std::end(at));
            const model::ShapeP shape = model::shape_of(head);
            ASSERT_NO_FATAL_FAILURE(check_cuts(records, shape, at[0], at[1]));
            head = records.linked(shape);
            const Path path(head, at[round % 2], 1);
            const core::Divided cut = core::cut(path.steps, path.end);
            head = core::concatenate(cut.pieces[core::left].root(), cut.pieces[core::right].root());
            ASSERT_TRUE(sound(records.order, head));
        }
    }
}

TEST(Many, BuildsCompleteTreesAndScansThemInBothDirections) {
    const Records records(1100);
    for (std::size_t count = 0; count <= records.order.size(); count++) {
        core::Builder builder(count);
        for (std::size_t i = 0; i < count; i++)
            builder.append(records.order[i]);
        const ZOEAVLp head = builder.finish();
        std::vector<ZOEAVLp> order = records.slice(0, count);
        ASSERT_TRUE(sound(order, head)) << count;
        const core::Subtree tree = core::whole(head);
        ASSERT_EQ(tree.height, std::bit_width(count)) << "the lowest that there is";
        for (const core::Side from : {core::left, core::right}) {
            std::vector<ZOEAVLp> seen;
            core::scan(tree, from, [&](ZOEAVLp node) { seen.push_back(node); });
            ASSERT_EQ(seen, order);
            std::reverse(order.begin(), order.end());
        }
        /* A visit may take the node apart. */
        std::size_t unlinked = 0;
        core::scan(tree, core::left, [&](ZOEAVLp node) {
            *node = {nullptr, nullptr};
            unlinked++;
        });
        ASSERT_EQ(unlinked, count);
    }
}

struct Item : zoe::node {
    std::int64_t key = 0;
    std::int32_t minor = 0;
    std::string text;
    char prefix[8] = {};
};
template <auto... keys, class Value>
void drive(std::size_t count, int steps, Value value) {
    zoe::index<Item, keys...> index;
    run_at_random<Item, true>(
        index, count, steps,
        [&](Item &item, std::size_t rank) {
            item.key = static_cast<std::int64_t>(rank / 4 * 4);
            item.minor = static_cast<std::int32_t>(rank);
            item.text = (rank < count / 2 ? "" : "a common prefix") + std::to_string(10000 + rank);
        },
        value, [](Item &item) -> ZOEAVLp { return &item; });
}

TEST(Many, BatchesDoWhatSingleOperationsDo) {
    constexpr auto less = [](std::int32_t a, std::int32_t b) noexcept { return a < b; };
    constexpr auto throwing_less = [](std::int32_t a, std::int32_t b) { return a < b; };
    const auto number = [](std::size_t rank) { return std::tuple(rank); };
    /* Low trees, which are searched one by one, and such as are searched in groups. */
    for (const auto &[count, steps] : {std::pair(300U, 400), std::pair(25000U, 40)}) {
        const auto text = [half = count / 2](std::size_t rank) {
            return std::tuple((rank < half ? "" : "a common prefix") +
                              std::to_string(10000 + rank));
        };
        drive<&Item::minor>(count, steps, number);
        drive<&Item::key, &Item::minor>(
            count, steps, [](std::size_t rank) { return std::tuple(rank / 4 * 4, rank); });
        drive<zoe::prefixed<&Item::text, &Item::prefix>>(count, steps, text);
        drive<&Item::text>(count, steps, text);
        drive<zoe::by<&Item::minor, decltype(less)>>(count, steps, number);
    }
    drive<zoe::by<&Item::minor, decltype(throwing_less)>>(300, 400, number);
}

TEST(Many, AppendersLinkAsInsertionDoesBehindEverySmallShape) {
    for (std::size_t count = 0; count <= 12; count++)
        for (const model::ShapeP &shape : model::all_shapes(count)) {
            std::vector<Item> items(count + 20);
            model::Tree tree{{}, shape};
            for (std::size_t i = 0; i < items.size(); i++) {
                items[i].key = static_cast<std::int64_t>(i);
                if (i < count)
                    tree.order.push_back(&items[i]);
            }
            ZOEAVLp head = nullptr;
            model::build(tree, &head);
            zoe::detail::tree_operations<zoe::detail::base_hook<Item>, &Item::key> index(&head);
            auto appender = index.appender();
            for (std::size_t i = count; i < items.size(); i++) {
                ASSERT_TRUE(appender.insert(items[i]).second);
                tree.insert(i, &items[i]);
                ASSERT_TRUE(model::same(tree, head)) << count << ' ' << i;
            }
        }
}

} // namespace
