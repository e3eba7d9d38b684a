/* Insertion, after Knuth's Algorithm A (The Art of Computer Programming, 6.2.3). */
#ifndef ZOEAVL_ENGINE_INSERTION_HPP
#define ZOEAVL_ENGINE_INSERTION_HPP

#include "descent.hpp"
#include "locking.hpp"
#include "repair.hpp"

namespace zoe::inline v2::engine {

/* Links `node` in and gives it, or gives the equal node already there and writes nothing. */
template <class Key, class Lock>
[[gnu::always_inline]] inline ZOEAVLp insert(ZOEAVLRootp root, ZOEAVLp node) {
    const std::ptrdiff_t offset = root->keyoff;
    const Lock lock(root, writing);
    const ZOEAVLp head = root->headptr;
    if (head == nullptr) {
        plant(head_link(root), node);
        return node;
    }
    Step path[path_capacity];
    Step *end = path;
    const Landing landing = descend(head, search_for<Key>(key_of(node, offset), root, offset), end);
    if (landing.found)
        return landing.node;
    link_and_rebalance(head_link(root), path, end, node);
    return node;
}

} // namespace zoe::inline v2::engine

#endif
