/* What follows an insertion or a removal: linking, rebalancing and threads, for all key types. The
 * tree is told by its head, the word that leads to the root node. */
#ifndef ZOEAVL_ENGINE_REPAIR_HPP
#define ZOEAVL_ENGINE_REPAIR_HPP

#include "path.hpp"

namespace zoe::inline v2::engine {

/* Makes `node` the only node of an empty tree. */
inline void plant(Word *head, ZOEAVLp node) {
    *head = word_of(node);
    links(node)[left] = links(node)[right] = null_thread;
}

/* What a node holds once it took over the subtree at `link` from `giver`: the child, or, where
 * there is none, a thread to the giver. */
inline std::uintptr_t taken_over(std::uintptr_t link, ZOEAVLp giver) {
    return is_thread(link) ? make_thread(word_of(giver)) : strip_balance(link);
}

/* The bit is added and subtracted, since a compiler may narrow an `or` to a store of one byte, from
 * which the next load of the word couldn't be forwarded. */
inline void lean(ZOEAVLp level_node, Side side) {
    links(level_node)[side] += balance_bit;
}
inline void make_level(ZOEAVLp node, Side leaning) {
    links(node)[leaning] -= balance_bit;
}

struct Hauled {
    ZOEAVLp top; /* the root of the subtree now */
    bool height_fell;
};

inline Hauled rotate_once(ZOEAVLp s, ZOEAVLp q, Side tall) {
    const Side low = opposite(tall);
    const std::uintptr_t towards_each_other = is_level(q) ? balance_bit : 0;
    links(s)[tall] = taken_over(links(q)[low], q) | towards_each_other;
    links(q)[low] = word_of(s) | towards_each_other;
    links(q)[tall] = strip_balance(links(q)[tall]);
    return {q, towards_each_other == 0};
}

inline Hauled rotate_twice(ZOEAVLp s, ZOEAVLp q, Side tall) {
    const Side low = opposite(tall);
    const ZOEAVLp p = node_at(links(q)[low]);
    const std::uintptr_t to_tall = links(p)[tall];
    const std::uintptr_t to_low = links(p)[low];
    links(q)[low] = taken_over(to_tall, p);
    links(q)[tall] |= to_low & balance_bit;
    links(s)[tall] = taken_over(to_low, p);
    links(s)[low] |= to_tall & balance_bit;
    links(p)[tall] = word_of(q);
    links(p)[low] = word_of(s);
    return {p, true};
}

/* Rotates around `s`, whose subtree on `tall` is two higher than the other. */
inline Hauled haul_up(ZOEAVLp s, Side tall) {
    const ZOEAVLp q = node_at(links(s)[tall]);
    return leans(q, opposite(tall)) ? rotate_twice(s, q, tall) : rotate_once(s, q, tall);
}

/* Takes `node` with at most one child out of its place below the path. */
inline void splice_out(Word *head, const Step *first, const Step *end, ZOEAVLp node) {
    Word *const place = link_below(head, first, end);
    const Side side = is_thread(links(node)[left]) ? right : left;
    const std::uintptr_t link = links(node)[side];
    if (!is_thread(link)) {
        const Side other = opposite(side);
        lead_to(links(node_at(link)) + other, links(node)[other]);
        lead_to(place, link);
    } else {
        lead_to(place, end == first ? 0 : links(node)[end[-1].side()]);
    }
}

/* Puts the neighbour of `node`, which has two children, in its place: the successor if the node
 * leans right, else the predecessor. The hole moves down to where the neighbour came from, and the
 * path is extended to there. Gives the path's new end. */
inline Step *replace_by_neighbour(Word *head, Step *first, Step *end, ZOEAVLp node) {
    Step *const place = end;
    const Side side = leans(node, right) ? right : left;
    const Side other = opposite(side);

    *end++ = Step(node, side);
    ZOEAVLp heir = node_at(links(node)[side]);
    for (std::uintptr_t next = links(heir)[other]; !is_thread(next); next = links(heir)[other]) {
        *end++ = Step(heir, other);
        heir = node_at(next);
    }
    const ZOEAVLp far_neighbour = neighbour(node, other);

    const std::uintptr_t left_behind = links(heir)[side];
    const ZOEAVLp parent = end[-1].node();
    if (parent == node)
        lead_to(links(node) + side, left_behind);
    else
        lead_to(links(parent) + other, taken_over(left_behind, heir));
    lead_to(links(far_neighbour) + side, make_thread(word_of(heir)));

    links(heir)[right] = links(node)[right];
    links(heir)[left] = links(node)[left];
    lead_to(link_below(head, first, place), word_of(heir));
    *place = Step(heir, side);
    return end;
}

/* Climbs the path, on whose last step the side that was taken has lost one level. */
inline void rebalance_after_loss(Word *head, const Step *first, const Step *end) {
    while (end != first) {
        const Step step = *--end;
        const ZOEAVLp s = step.node();
        const Side tall = opposite(step.side());
        if (is_level(s)) {
            lean(s, tall);
            return;
        }
        if (leans(s, step.side())) {
            make_level(s, step.side());
            continue;
        }
        const Hauled hauled = haul_up(s, tall);
        lead_to(link_below(head, first, end), word_of(hauled.top));
        if (!hauled.height_fell)
            return;
    }
}

/* Climbs the path, on whose last step the side that was taken has grown by one level. Gives the end
 * of what is left of the path where that took no effect any more: `first` if the whole tree grew.
 */
inline const Step *rebalance_after_growth(Word *head, const Step *first, const Step *end) {
    while (end != first) {
        const Step step = *--end;
        const ZOEAVLp s = step.node();
        if (is_level(s)) {
            lean(s, step.side());
            continue;
        }
        if (leans(s, step.side()))
            lead_to(link_below(head, first, end), word_of(haul_up(s, step.side()).top));
        else
            make_level(s, opposite(step.side()));
        return end + 1;
    }
    return first;
}

/* Links `node` into the missing child below the last step of the path from `first` to `end`, and
 * restores the balance with at most one rotation. Gives what `rebalance_after_growth` does. */
[[gnu::noinline]] inline const Step *link_and_rebalance(Word *head, const Step *first,
                                                        const Step *end, ZOEAVLp node) {
    const Step parent = *--end;
    const Side other = opposite(parent.side());
    links(node)[parent.side()] = strip_balance(*parent.link());
    links(node)[other] = make_thread(word_of(parent.node()));
    /* The missing child wasn't the taller side, so the parent becomes level or grows itself. */
    if (leans(parent.node(), other)) {
        *parent.link() = word_of(node);
        make_level(parent.node(), other);
        return end + 1;
    }
    *parent.link() = word_of(node) | balance_bit;
    return rebalance_after_growth(head, first, end);
}

/* Unlinks `node`, to which the path from `first` to `end` leads, restores the balance and clears
 * the node's links. The path is extended in place, so its array has the full capacity. */
[[gnu::noinline]] inline void unlink_and_rebalance(Word *head, Step *first, Step *end,
                                                   ZOEAVLp node) {
    if (is_thread(links(node)[left]) || is_thread(links(node)[right]))
        splice_out(head, first, end, node);
    else
        end = replace_by_neighbour(head, first, end, node);
    rebalance_after_loss(head, first, end);
    links(node)[left] = links(node)[right] = 0;
}

} // namespace zoe::inline v2::engine

#endif
