/* The one descent by which every operation finds its place. */
#ifndef ZOEAVL_ENGINE_DESCENT_HPP
#define ZOEAVL_ENGINE_DESCENT_HPP

#include "path.hpp"

namespace zoe::inline v2::engine {

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

/* Has both values in registers before anything that follows is worked out. */
[[gnu::always_inline]] inline void pin(std::uintptr_t &one, std::uintptr_t &other) {
    asm("" : "+r"(one), "+r"(other));
}

/* Searches below `node`, the root node. A search gives:
 *
 *     compare(node) -> Outcome    the sought key against that of a node
 *     takes_long                  a comparison takes long enough to fetch both children meanwhile
 *
 * `passed` sees each node that the search leaves, with the side. Which way a search turns can't be
 * predicted, so both links are loaded ahead of the comparison and one is selected by it. They are
 * pinned, since a compiler that selects the address of the link instead waits for the comparison
 * before it loads. */
template <class Search, class Passed>
[[gnu::always_inline]] inline Landing descend_seen(ZOEAVLp node, const Search &search,
                                                   Passed passed) {
    for (;;) {
        std::uintptr_t to_left = strip_balance(links(node)[left]);
        std::uintptr_t to_right = strip_balance(links(node)[right]);
        pin(to_left, to_right);
        if constexpr (Search::takes_long) {
            __builtin_prefetch(node_at(to_left));
            __builtin_prefetch(node_at(to_right));
        }
        const Outcome outcome = search.compare(node);
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

template <class Search>
[[gnu::always_inline]] inline Landing descend(ZOEAVLp head, const Search &search) {
    return descend_seen(head, search, [](ZOEAVLp, Side) {});
}

/* Records the path from `end` on and moves `end` behind its last step. */
template <class Search>
[[gnu::always_inline]] inline Landing descend(ZOEAVLp head, const Search &search, Step *&end) {
    return descend_seen(head, search,
                        [&end](ZOEAVLp passed, Side side) { *end++ = Step(passed, side); });
}

/* The search of an operation on a ZOEAVL_ROOT. A key type gives:
 *
 *     Sought                         the sought key as it is held during the descent
 *     load(key, length) -> Sought    runs once, after the tree was seen not to be empty; `length`
 *                                    reads the root's `keylen` when it is converted to a number
 *     compare(Sought, key) -> Outcome    sought key against the key field of a node
 *     takes_long                     as above */
template <class Key>
struct KeySearch {
    static constexpr bool takes_long = Key::takes_long;
    [[gnu::always_inline]] Outcome compare(ZOEAVLp node) const {
        return Key::compare(sought, key_of(node, offset));
    }
    typename Key::Sought sought;
    std::ptrdiff_t offset;
};

struct LengthOfRoot {
    const ZOEAVL_ROOT *root;
    operator std::ptrdiff_t() const { return root->keylen; } // NOLINT: stands for the number
};

/* The sought key is read before any node is. */
template <class Key>
[[gnu::always_inline]] inline KeySearch<Key> search_for(const void *key, const ZOEAVL_ROOT *root,
                                                        std::ptrdiff_t offset) {
    const KeySearch<Key> search{Key::load(key, LengthOfRoot{root}), offset};
    asm volatile("" : : : "memory");
    return search;
}

} // namespace zoe::inline v2::engine

#endif
