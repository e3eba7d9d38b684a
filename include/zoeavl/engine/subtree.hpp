/* A subtree together with its height, which no node stores: one walk finds the height of a tree,
 * and from there balance bits tell that of every node met on the way. */
#ifndef ZOEAVL_ENGINE_SUBTREE_HPP
#define ZOEAVL_ENGINE_SUBTREE_HPP

#include "links.hpp"

namespace zoe::inline v2::engine {

/* The link that leads to it, and its height. An empty one has height 0, and its link is the thread
 * that stands in its place. */
struct Subtree {
    std::uintptr_t link;
    int height;
    [[nodiscard]] bool empty() const { return height == 0; }
    [[nodiscard]] ZOEAVLp root() const { return empty() ? nullptr : node_at(link); }
};

inline constexpr Subtree no_subtree{null_thread, 0};

/* The subtree below `node`, itself of that height, on `side`. */
inline Subtree child(ZOEAVLp node, int height, Side side) {
    return {strip_balance(links(node)[side]), height - 1 - leans(node, opposite(side))};
}

/* The height of `node`, given that of the subtree below it on `side`. */
inline int height_above(ZOEAVLp node, Side side, int height) {
    return height + 1 + leans(node, opposite(side));
}

/* The whole tree with that head, its height found on the way down the taller sides. */
inline Subtree whole(ZOEAVLp head) {
    if (head == nullptr)
        return no_subtree;
    int height = 1;
    for (ZOEAVLp node = head;; height++) {
        const std::uintptr_t next = links(node)[leans(node, right)];
        if (is_thread(next))
            return {word_of(head), height};
        node = node_at(next);
    }
}

} // namespace zoe::inline v2::engine

#endif
