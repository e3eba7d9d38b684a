/* Visiting many nodes in order, faster than memory answers one by one: subtrees are gathered level
 * by level, so that a whole level is fetched at once, and then visited from an array. */
#ifndef ZOEAVL_ENGINE_SCANNING_HPP
#define ZOEAVL_ENGINE_SCANNING_HPP

#include "path.hpp"
#include "subtree.hpp"

namespace zoe::inline v2::engine {

inline constexpr int gathered_height = 8;

/* Lower trees are near enough for a walk along the threads. */
inline constexpr int walked_height = 12;
static_assert(walked_height > gathered_height, "then no subtree of a scan is empty");

template <class Visit>
inline void walk(Subtree subtree, Side from, Visit &&visit) {
    if (subtree.empty())
        return;
    const Side onward = opposite(from);
    const ZOEAVLp last = descend_along(subtree.link, onward);
    for (ZOEAVLp node = descend_along(subtree.link, from); node != nullptr;) {
        const ZOEAVLp next = node != last ? neighbour(node, onward) : nullptr;
        visit(node);
        node = next;
    }
}

/* Puts the nodes of a subtree, of at most that height and not empty, into `nodes` in order; gives
 * their number. Like the places of a full tree, slot i has its children half its lowest set bit
 * away. */
inline std::size_t gather(Subtree subtree, ZOEAVLp (&nodes)[1U << gathered_height]) {
    std::uintptr_t missing_links[] = {null_thread, null_thread};
    const auto missing = reinterpret_cast<ZOEAVLp>(missing_links);
    const std::size_t end = std::size_t{1} << subtree.height;
    nodes[end / 2] = subtree.root();
    const auto below = [missing](ZOEAVLp node, Side side) {
        const std::uintptr_t link = links(node)[side];
        const ZOEAVLp found = is_thread(link) ? missing : node_at(link);
        __builtin_prefetch(found);
        return found;
    };
    for (std::size_t half = end / 4; half != 0; half /= 2)
        for (std::size_t slot = 2 * half; slot < end; slot += 4 * half) {
            const ZOEAVLp node = nodes[slot];
            nodes[slot - half] = below(node, left);
            nodes[slot + half] = below(node, right);
        }
    std::size_t count = 0;
    for (std::size_t slot = 1; slot < end; slot++) {
        const ZOEAVLp node = nodes[slot];
        nodes[count] = node;
        count += node != missing;
    }
    return count;
}

/* Gives the nodes of a subtree one after the other, starting on the side `from`. The links of a
 * node that was given, and of all before it, may change: they aren't read any more. */
class Scanner {
  public:
    Scanner(Subtree subtree, Side from_) : from(from_), upcoming(subtree) {}
    Scanner(const Scanner &) = delete;
    Scanner &operator=(const Scanner &) = delete;
    ~Scanner() = default;

    /* Null after the last. */
    [[gnu::always_inline]] ZOEAVLp next() {
        if (given == count && !refill())
            return parent();
        const std::size_t slot = given++;
        return nodes[from == left ? slot : count - 1 - slot];
    }

  private:
    /* False if it is the turn of a parent. */
    [[gnu::noinline]] bool refill() {
        if (upcoming.empty())
            return false;
        for (; upcoming.height > gathered_height;
             upcoming = child(upcoming.root(), upcoming.height, from))
            *top++ = upcoming;
        count = gather(upcoming, nodes);
        given = 0;
        upcoming = no_subtree;
        return true;
    }
    ZOEAVLp parent() {
        if (top == pending)
            return nullptr;
        const Subtree taken = *--top;
        upcoming = child(taken.root(), taken.height, opposite(from));
        return taken.root();
    }

    Side from;
    Subtree upcoming; /* what is gathered next */
    Subtree pending[path_capacity];
    Subtree *top = pending;
    std::size_t count = 0;
    std::size_t given = 0;
    ZOEAVLp nodes[1U << gathered_height];
};

/* Calls `visit` with each node as the scanner gives it. */
template <class Visit>
inline void scan(Subtree subtree, Side from, Visit &&visit) {
    if (subtree.height <= walked_height) {
        walk(subtree, from, visit);
        return;
    }
    Scanner scanner(subtree, from);
    while (const ZOEAVLp node = scanner.next())
        visit(node);
}

/* As `scan`, in ascending order, for the nodes between two gaps, each told by the path from the
 * root into it (see cutting.hpp); none if the second is below the first. */
template <class Visit>
inline void scan_between(const Step *low, const Step *low_end, const Step *high,
                         const Step *high_end, Visit &&visit) {
    for (; low != low_end && *low == *high; low++, high++) {
    }
    if (low == low_end || low->side() == right)
        return;
    int height = 0;
    while (--low_end != low) {
        const ZOEAVLp node = low_end->node();
        height = height_above(node, low_end->side(), height);
        if (low_end->side() == left) {
            const Subtree behind = child(node, height, right);
            visit(node);
            scan(behind, left, visit);
        }
    }
    const ZOEAVLp fork = low->node();
    Subtree subtree = child(fork, height_above(fork, left, height), right);
    visit(fork);
    while (++high != high_end) {
        const ZOEAVLp node = high->node();
        const Subtree next = child(node, subtree.height, high->side());
        if (high->side() == right) {
            scan(child(node, subtree.height, left), left, visit);
            visit(node);
        }
        subtree = next;
    }
}

} // namespace zoe::inline v2::engine

#endif
