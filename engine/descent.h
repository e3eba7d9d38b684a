/* The one descent by which every operation finds its place. */
#ifndef ZOEAVL_ENGINE_DESCENT_H
#define ZOEAVL_ENGINE_DESCENT_H

#include "links.h"

namespace avl {

/* How a sought key stands to a node's key. Truth values as int, since g++ keeps a pair of bools
 * packed in one register and takes it apart at each node. */
struct Outcome {
    int equal;
    int after; /* 0 or 1; means nothing if `equal` */
};

inline const void *key_of(const ZOEAVLNODE *node, std::ptrdiff_t offset) {
    return reinterpret_cast<const char *>(node) + offset;
}

/* Where a descent ended: at the equal node, or at the node whose thread on `side` it met. */
struct Landing {
    ZOEAVLp node;
    Side side;
    int found;
};

/* Searches below `node`, the root node. A key type gives:
 *
 *     Sought                        the sought key as it is held during the descent
 *     load(key, root) -> Sought     runs once, after the tree was seen not to be empty
 *     compare(Sought, key) -> Outcome    sought key against the key field of a node
 *     takes_long                    a comparison takes long enough to fetch both children meanwhile
 *
 * `passed` sees each node that the search leaves, with the side. Which way a search turns can't be
 * predicted, so both links are loaded ahead of the comparison and one is selected by it. */
template <class Key, class Passed>
[[gnu::always_inline]] inline Landing descend(ZOEAVLp node, const typename Key::Sought &sought,
                                              std::ptrdiff_t offset, Passed passed) {
    for (;;) {
        const std::uintptr_t to_left = strip_balance(links(node)[left]);
        const std::uintptr_t to_right = strip_balance(links(node)[right]);
        if constexpr (Key::takes_long) {
            __builtin_prefetch(node_at(to_left));
            __builtin_prefetch(node_at(to_right));
        }
        const Outcome outcome = Key::compare(sought, key_of(node, offset));
        if (__builtin_expect(outcome.equal, 0))
            return {node, left, true};
        const Side side = static_cast<Side>(outcome.after);
        passed(node, side);
        const std::uintptr_t next = outcome.after ? to_right : to_left;
        if (__builtin_expect(is_thread(next), 0))
            return {node, side, false};
        node = node_at_plain(next);
    }
}

} // namespace avl

#endif
