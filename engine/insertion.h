/* Insertion, after Knuth's Algorithm A (The Art of Computer Programming, 6.2.3). */
#ifndef ZOEAVL_ENGINE_INSERTION_H
#define ZOEAVL_ENGINE_INSERTION_H

#include "descent.h"
#include "locking.h"
#include "repair.h"

namespace avl {

/* Links `node` in and gives it, or gives the equal node already there and writes nothing. */
template <class Key, class Lock>
[[gnu::always_inline]] inline ZOEAVLp insert(ZOEAVLRootp root, ZOEAVLp node) {
    const std::ptrdiff_t offset = root->keyoff;
    const Lock lock(root, writing);
    const ZOEAVLp head = root->headptr;
    if (head == nullptr) {
        plant(root, node);
        return node;
    }
    Step path[path_capacity];
    Step *end = path;
    const Landing landing =
        descend<Key>(head, Key::load(key_of(node, offset), root), offset,
                     [&end](ZOEAVLp passed, Side side) { *end++ = Step(passed, side); });
    if (landing.found)
        return landing.node;
    link_and_rebalance(root, path, end, node);
    return node;
}

} // namespace avl

#endif
