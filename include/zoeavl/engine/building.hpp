/* Building a tree, in linear time and without a comparison, from nodes that come in order.
 *
 * Where the number of nodes is known ahead, the tree is complete: all levels are full but the
 * lowest, which is filled from the left. Number the places of the full tree of that height from 1,
 * in order: the place p stands as many levels above the lowest as p has trailing zeros, and its
 * children are half its lowest set bit away, on either side. With m nodes in the lowest level, the
 * places up to 2m are all taken, and of those behind them the even ones. So what a node's links
 * lead to is the latest node on the level below or the next one above, or the node ahead of it or
 * behind it.
 *
 * Where the number isn't known, all places are taken as they come. At the end the nodes on the
 * right edge have full trees on their left and too little on their right, and are joined from
 * below. */
#ifndef ZOEAVL_ENGINE_BUILDING_HPP
#define ZOEAVL_ENGINE_BUILDING_HPP

#include <bit>
#include <cstddef>

#include "cutting.hpp"

namespace zoe::inline v2::engine {

class Builder {
  public:
    /* For any number of nodes. */
    Builder() : taken(any_number) {}
    /* For exactly `count` nodes, and a complete tree. */
    explicit Builder(std::size_t count)
        : taken(count == 0 ? 0 : 2 * (count + 1 - std::bit_floor(count))) {}

    /* Links the next node in. Nodes behind it aren't touched yet, its own words are rewritten. */
    [[gnu::always_inline]] void append(ZOEAVLp node) {
        place += place < taken ? 1 : 2;
        const auto level = static_cast<std::size_t>(std::countr_zero(place));
        const std::size_t lowest_bit = place & -place;

        const bool previous_has_no_right_child = ends_on_right;
        if (previous_has_no_right_child)
            links(previous)[right] = make_thread(word_of(node));
        const bool is_right_child = (place & 2 * lowest_bit) != 0;
        if (is_right_child)
            links(latest[level + 1])[right] = word_of(node);

        const bool ends_on_left = level == 0 || (level == 1 && place > taken);
        const bool leans_left = place >= taken && place - lowest_bit < taken && level != 0;
        links(node)[left] = ends_on_left ? make_thread(word_of(previous))
                                         : word_of(latest[level - 1]) + leans_left * balance_bit;
        ends_on_right = level == 0 || (level == 1 && place >= taken);
        latest[level] = previous = node;
    }

    /* After the last node: the root, or null if there was none. */
    ZOEAVLp finish() {
        if (taken == any_number)
            return joined_from_below();
        if (previous == nullptr)
            return nullptr;
        links(previous)[right] = null_thread;
        return latest[std::bit_width(place) - 1];
    }

  private:
    static constexpr std::size_t any_number = static_cast<std::size_t>(-1);

    ZOEAVLp joined_from_below() {
        Subtree joined = no_subtree;
        for (std::size_t rest = place; rest != 0; rest &= rest - 1) {
            const int level = std::countr_zero(rest);
            const ZOEAVLp node = latest[level];
            joined = join({{strip_balance(links(node)[left]), level}, joined}, node);
        }
        return joined.root();
    }

    std::size_t taken; /* places up to here have no gaps */
    std::size_t place = 0;
    bool ends_on_right = false; /* the previous node has no right child */
    ZOEAVLp previous = nullptr;
    ZOEAVLp latest[sizeof(std::size_t) * 8 + 1]; /* on each level */
};

} // namespace zoe::inline v2::engine

#endif
