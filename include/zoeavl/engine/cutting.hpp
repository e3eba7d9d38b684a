/* Cutting trees apart and joining them, in logarithmic time, after Adelson-Velsky and Landis's
 * balance and Knuth's concatenation (The Art of Computer Programming, 6.2.3).
 *
 * A gap is a place between two neighbours in the order, or ahead of the first node, or behind the
 * last. Exactly one thread crosses it, or ends in it, and the path from the root to that thread
 * tells it. A cut at a gap climbs that path: each node on it goes, with its subtree away from the
 * path, to one of the two pieces. Threads inside a piece stay right, since the order does; the two
 * that crossed the gap are led nowhere. */
#ifndef ZOEAVL_ENGINE_CUTTING_HPP
#define ZOEAVL_ENGINE_CUTTING_HPP

#include "repair.hpp"
#include "subtree.hpp"
#include "walking.hpp"

namespace zoe::inline v2::engine {

/* One tree of `node` and the subtrees on both sides of it, in time of the difference between their
 * heights. Threads that lead to `node` from within the subtrees are there already; the link of an
 * empty one is the thread that `node` is to have. */
inline Subtree join(const Subtree (&sides)[2], ZOEAVLp node) {
    const Side tall = sides[right].height > sides[left].height ? right : left;
    const Side low = opposite(tall);
    const int low_height = sides[low].height;

    /* `node` goes down the near side of the taller one, to where it finds a subtree as high as the
     * lower one or one higher, and puts that below itself. */
    Word head = sides[tall].link;
    Step path[path_capacity];
    Step *end = path;
    Subtree inner = sides[tall];
    while (inner.height > low_height + 1) {
        const ZOEAVLp passed = inner.root();
        *end++ = Step(passed, low);
        inner = child(passed, inner.height, low);
    }
    links(node)[low] = sides[low].link;
    links(node)[tall] = end == path ? inner.link : taken_over(inner.link, end[-1].node());
    if (inner.height > low_height)
        lean(node, tall);
    lead_to(link_below(&head, path, end), word_of(node));
    const bool grew = rebalance_after_growth(&head, path, end) == path;
    return {head, sides[tall].height + grew};
}

/* One tree of two, all nodes of the second behind those of the first. */
inline ZOEAVLp concatenate(ZOEAVLp low, ZOEAVLp high) {
    if (low == nullptr || high == nullptr)
        return low == nullptr ? high : low;
    Step path[path_capacity];
    Step *end = path;
    ZOEAVLp middle = high;
    for (std::uintptr_t next = links(middle)[left]; !is_thread(next); next = links(middle)[left]) {
        *end++ = Step(middle, left);
        middle = node_at(next);
    }
    Word head = word_of(high);
    const ZOEAVLp behind = neighbour(middle, right);
    unlink_and_rebalance(&head, path, end, middle);
    links(outermost(low, right))[right] = make_thread(word_of(middle));
    if (behind != nullptr)
        links(behind)[left] = make_thread(word_of(middle));
    return join({whole(low), whole(node_at(head))}, middle).root();
}

/* Extends a path that leads to `node` into the gap on `side` of it; gives its new end. */
inline Step *into_gap(ZOEAVLp node, Side side, Step *end) {
    *end++ = Step(node, side);
    for (std::uintptr_t next = links(node)[side]; !is_thread(next);) {
        node = node_at(next);
        *end++ = Step(node, opposite(side));
        next = links(node)[opposite(side)];
    }
    return end;
}

/* A subtree in two pieces, with the height that it had in one. */
struct Divided {
    Subtree pieces[2] = {no_subtree, no_subtree};
    int height = 0;
};

/* Goes on dividing from the end of a path up to its first step. */
inline void divide(const Step *first, const Step *end, Divided &divided) {
    while (end != first) {
        const Step step = *--end;
        const ZOEAVLp node = step.node();
        const Side away = opposite(step.side());
        divided.height = height_above(node, step.side(), divided.height);
        Subtree sides[2];
        sides[step.side()] = divided.pieces[away];
        sides[away] = child(node, divided.height, away);
        divided.pieces[away] = join(sides, node);
    }
}

/* Cuts the tree at the gap to which the path leads. */
inline Divided cut(const Step *first, const Step *end) {
    Divided divided;
    divide(first, end, divided);
    return divided;
}

struct RangeCut {
    ZOEAVLp range; /* null if it is empty, and then nothing was written */
    ZOEAVLp rest;
};

/* Cuts what lies between two gaps out of the tree; nothing if the second is below the first. */
inline RangeCut cut_between(const Step *low, const Step *low_end, const Step *high,
                            const Step *high_end) {
    const Step *fork = low;
    for (; fork != low_end && *fork == *high; fork++, high++) {
    }
    if (fork == low_end || fork->side() == right)
        return {nullptr, low == low_end ? nullptr : low->node()};
    const ZOEAVLp node = fork->node();
    const Divided below = cut(fork + 1, low_end);
    const Divided above = cut(high + 1, high_end);
    Divided around{{below.pieces[left], above.pieces[right]},
                   height_above(node, left, below.height)};
    divide(low, fork, around);
    return {join({below.pieces[right], above.pieces[left]}, node).root(),
            concatenate(around.pieces[left].root(), around.pieces[right].root())};
}

} // namespace zoe::inline v2::engine

#endif
