/* What works on many records at a time: building, scanning, cutting, joining and look-ups in
 * lockstep leave, or read, trees that are sound to the last bit. */
#include <numeric>
#include <random>

#include "model.h"
#include "zoeavl.hpp"
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
using Items = std::vector<Item *>;

/* Batches on a head word of our own, against an array that has the item of each rank, or null. A
 * twin has the same key as the item with its rank. */
template <auto... keys, class Value>
void drive(std::size_t count, int steps, Value value) {
    using Index = zoe::index<Item, keys...>;
    std::vector<Item> items(2 * count);
    for (std::size_t i = 0; i < 2 * count; i++) {
        const std::size_t rank = i % count;
        items[i].key = static_cast<std::int64_t>(rank / 4 * 4);
        items[i].minor = static_cast<std::int32_t>(rank);
        items[i].text = (rank < count / 2 ? "" : "a common prefix") + std::to_string(10000 + rank);
    }
    ZOEAVLp head = nullptr;
    zoe::detail::tree_operations<zoe::detail::base_hook<Item>, keys...> index(&head);
    Items expected(count);
    std::mt19937 random(6);
    const auto rank_of = [](const Item *item) { return static_cast<std::size_t>(item->minor); };
    const auto all = [](const auto &range) {
        Items found;
        for (const Item &item : range)
            found.push_back(const_cast<Item *>(&item));
        return found;
    };
    const auto between = [&](std::size_t from, std::size_t to) {
        Items found;
        for (; from < to; from++)
            if (expected[from] != nullptr)
                found.push_back(expected[from]);
        return found;
    };
    const auto picks = [&](std::size_t number) {
        Items found(number);
        for (Item *&item : found)
            item = &items[random() % (2 * count)];
        return found;
    };
    const auto loose_picks = [&](std::size_t number) {
        Items found = picks(number);
        std::erase_if(found, [](const Item *item) { return item->is_linked(); });
        std::sort(found.begin(), found.end());
        found.erase(std::unique(found.begin(), found.end()), found.end());
        return found;
    };
    const auto with_key = [&](std::size_t rank, auto act) {
        if constexpr (sizeof...(keys) > 1)
            return std::apply(act, value(rank));
        else
            return act(value(rank));
    };
    const auto split = [&](std::size_t rank) {
        return with_key(rank, [&](const auto &...v) { return index.split(v...); });
    };
    const auto bound = [&](std::size_t rank) {
        return with_key(rank, [&](const auto &...v) { return index.lower_bound(v...); });
    };
    const auto is_ahead = [&](const Item *a, const Item *b) { return rank_of(a) < rank_of(b); };
    /* Takes the picks over into what is expected; gives those that found their place taken. */
    const auto admitted = [&](const Items &picked, Items &into) {
        Items left_out;
        for (Item *const item : picked)
            if (Item *&place = into[rank_of(item)]; place == nullptr)
                place = item;
            else
                left_out.push_back(item);
        return left_out;
    };
    for (int step = 0; step < steps; step++) {
        std::size_t from = random() % count;
        std::size_t to = random() % count;
        Items out;
        const auto taken_out = [&] {
            for (std::size_t i = from; i < to; i++)
                expected[i] = nullptr;
        };
        switch (random() % 9) {
        case 0: {
            const Items picked = loose_picks(random() % (count / 2));
            const Items left_out = admitted(picked, expected);
            ASSERT_EQ(index.insert_many(picked, std::back_inserter(out)),
                      picked.size() - left_out.size());
            ASSERT_EQ(out, left_out);
            break;
        }
        case 1: {
            std::vector<decltype(value(from))> wanted{value(0)};
            Items found{expected[0]};
            for (const Item *const item : picks(100)) {
                wanted.push_back(value(rank_of(item)));
                found.push_back(expected[rank_of(item)]);
            }
            index.find_many(wanted, std::back_inserter(out));
            ASSERT_EQ(out, found);
            out.clear();
            index.erase_many(wanted, std::back_inserter(out));
            for (std::size_t i = 0; i < out.size(); i++) {
                const std::size_t rank = rank_of(found[i] != nullptr ? found[i] : &items[0]);
                ASSERT_EQ(out[i], found[i] != nullptr ? expected[rank] : nullptr);
                if (out[i] != nullptr)
                    expected[rank] = nullptr;
            }
            break;
        }
        case 2: {
            Index upper = split(from);
            ASSERT_EQ(all(upper), between(from, count));
            ASSERT_EQ(upper.size(), between(from, count).size());
            ASSERT_EQ(all(index), between(0, from));
            if (!index.empty() && !upper.empty()) {
                Index lowest = split(rank_of(&index.front()));
                ASSERT_THROW(upper.join(std::move(lowest)), std::invalid_argument);
                index.merge(lowest);
            }
            index.join(std::move(upper));
            break;
        }
        case 3: {
            Index range = index.extract_range(value(from), value(to));
            ASSERT_EQ(all(range), between(from, to));
            if (step % 2 == 0) {
                index.merge(range);
                ASSERT_TRUE(range.empty());
            } else {
                range.clear();
                taken_out();
            }
            break;
        }
        case 4:
            if (from > to)
                std::swap(from, to);
            ASSERT_EQ(index.erase(bound(from), bound(to)), bound(to));
            taken_out();
            break;
        case 5: {
            const Items picked = picks(random() % count);
            Items chosen(count);
            Items left_out = admitted(picked, chosen);
            index.assign(picked, std::back_inserter(out));
            std::stable_sort(left_out.begin(), left_out.end(), is_ahead);
            ASSERT_EQ(out, left_out);
            expected = chosen;
            break;
        }
        case 6: {
            Items sorted = between(0, count);
            for (std::size_t i = from; i < count && sorted.size() > 1; i += 7)
                sorted.erase(sorted.begin() + static_cast<std::ptrdiff_t>(i % sorted.size()));
            Items twice = sorted;
            if (!twice.empty()) {
                twice.push_back(twice.back());
                ASSERT_THROW(index.assign_sorted(twice), std::invalid_argument);
                ASSERT_EQ(all(index), between(0, count));
            }
            index.assign_sorted(sorted);
            expected.assign(count, nullptr);
            admitted(sorted, expected);
            break;
        }
        case 7: {
            const auto note = [&](Item &item) { out.push_back(&item); };
            index.for_each(value(from), value(to), note);
            ASSERT_EQ(out, between(from, to));
            out.clear();
            index.for_each_reverse(note);
            std::reverse(out.begin(), out.end());
            ASSERT_EQ(out, between(0, count));
            auto appender = index.appender();
            Items picked = picks(step % 3 == 0 ? 300 : 8);
            std::sort(picked.begin() + step % 8, picked.end(), is_ahead);
            for (Item *const item : picked)
                if (!item->is_linked()) {
                    ASSERT_EQ(appender.insert(*item).second, expected[rank_of(item)] == nullptr);
                    admitted({item}, expected);
                }
            Items rest = loose_picks(20);
            std::stable_sort(rest.begin(), rest.end(), is_ahead);
            const Items left_out = admitted(rest, expected);
            ASSERT_EQ(appender.insert_range(rest), rest.size() - left_out.size());
            break;
        }
        default: {
            Index other;
            Items theirs(count);
            for (Item *const item : picks(step % 2 == 0 ? 50 : count))
                if (!item->is_linked() && other.insert(*item).second)
                    theirs[rank_of(item)] = item;
            index.merge(other);
            std::erase(theirs, nullptr);
            const Items left_out = admitted(theirs, expected);
            ASSERT_EQ(all(other), left_out);
            ASSERT_EQ(other.size(), left_out.size());
            other.clear();
        }
        }
        std::vector<ZOEAVLp> order;
        for (Item *const item : between(0, count))
            order.push_back(item);
        ASSERT_TRUE(sound(order, head)) << "step " << step;
        for (const Item &item : items)
            ASSERT_EQ(item.is_linked(), expected[rank_of(&item)] == &item);
    }
    index.clear();
}

TEST(Many, BatchesDoWhatSingleOperationsDo) {
    using Pair = std::pair<std::int64_t, std::int32_t>;
    constexpr auto less = [](std::int32_t a, std::int32_t b) noexcept { return a < b; };
    constexpr auto throwing_less = [](std::int32_t a, std::int32_t b) { return a < b; };
    const auto number = [](std::size_t rank) { return static_cast<std::int32_t>(rank); };
    /* Low trees, which are searched one by one, and such as are searched in groups. */
    for (const auto &[count, steps] : {std::pair(300U, 300), std::pair(25000U, 30)}) {
        const auto text = [half = count / 2](std::size_t rank) {
            return (rank < half ? "" : "a common prefix") + std::to_string(10000 + rank);
        };
        drive<&Item::minor>(count, steps, number);
        drive<&Item::key, &Item::minor>(count, steps,
                                        [](std::size_t rank) { return Pair(rank / 4 * 4, rank); });
        drive<zoe::prefixed<&Item::text, &Item::prefix>>(count, steps, text);
        drive<&Item::text>(count, steps, text);
        drive<zoe::by<&Item::minor, decltype(less)>>(count, steps, number);
    }
    drive<zoe::by<&Item::minor, decltype(throwing_less)>>(300, 300, number);
}

TEST(Many, IndexesKnowHowManyRecordsTheyHold) {
    std::vector<Item> items(30);
    zoe::index<Item, &Item::key> low;
    zoe::index<Item, &Item::key> high;
    for (std::size_t i = 0; i < items.size(); i++) {
        items[i].key = static_cast<std::int64_t>(i);
        (i < 20 ? low : high).insert(items[i]);
    }
    const auto sizes = [&](const auto &other) { return std::pair(low.size(), other.size()); };
    using Sizes = std::pair<std::size_t, std::size_t>;
    low.join(std::move(high)); // both are counted
    EXPECT_EQ(sizes(high), Sizes(30, 0));
    auto top = low.split(25);
    EXPECT_EQ(sizes(top), Sizes(25, 5));
    auto uppermost = top.split(27);
    low.join(std::move(top)); // neither is
    EXPECT_EQ(sizes(uppermost), Sizes(27, 3));
    low.swap(uppermost);
    EXPECT_EQ(sizes(uppermost), Sizes(3, 27));
    low.erase(low.begin());
    uppermost.join(std::move(low));
    EXPECT_EQ(sizes(uppermost), Sizes(0, 29));
    EXPECT_TRUE(uppermost.extract_range(40, 50).empty());
    EXPECT_EQ(sizes(uppermost), Sizes(0, 29));
    auto range = uppermost.extract_range(5, 10);
    uppermost.merge(range);
    EXPECT_EQ(sizes(range), Sizes(0, 0));
    EXPECT_EQ(uppermost.size(), 29U);
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
