/* Exact lookup, and lookup with the neighbours of the key. Neither writes to the tree. */
#ifndef ZOEAVL_ENGINE_LOOKUP_HPP
#define ZOEAVL_ENGINE_LOOKUP_HPP

#include "descent.hpp"
#include "locking.hpp"

namespace zoe::inline v2::engine {

/* The node whose key equals the one at `key`, or null. */
template <class Key, class Lock>
[[gnu::always_inline]] inline ZOEAVLp find(ZOEAVLRootp root, const void *key) {
    const std::ptrdiff_t offset = root->keyoff;
    const Lock lock(root, reading);
    const ZOEAVLp head = root->headptr;
    if (head == nullptr)
        return nullptr;
    const Landing landing = descend(head, search_for<Key>(key, root, offset));
    return landing.found ? landing.node : nullptr;
}

/* As `find`, and stores the nodes just below and just above the key, each unless its place is null.
 * The head is read ahead of the lock. */
template <class Key, class Lock>
[[gnu::always_inline]] inline ZOEAVLp find_with_neighbours(ZOEAVLRootp root, const void *key,
                                                           ZOEAVLp *previous, ZOEAVLp *next) {
    const std::ptrdiff_t offset = root->keyoff;
    const ZOEAVLp head = root->headptr;
    const Lock lock(root, reading);
    if (head == nullptr) {
        if (previous != nullptr)
            *previous = nullptr;
        if (next != nullptr)
            *next = nullptr;
        return nullptr;
    }
    const Landing landing = descend(head, search_for<Key>(key, root, offset));
    if (landing.found) {
        if (previous != nullptr)
            *previous = neighbour(landing.node, left);
        if (next != nullptr)
            *next = neighbour(landing.node, right);
        return landing.node;
    }
    ZOEAVLp around[2];
    around[landing.side] = node_at(links(landing.node)[landing.side]);
    around[opposite(landing.side)] = landing.node;
    if (previous != nullptr)
        *previous = around[left];
    if (next != nullptr)
        *next = around[right];
    return nullptr;
}

} // namespace zoe::inline v2::engine

#endif
