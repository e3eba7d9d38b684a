/* What follows an insertion or a removal: linking, rebalancing and threads, for all key types. */
#ifndef ZOEAVL_ENGINE_REPAIR_H
#define ZOEAVL_ENGINE_REPAIR_H

#include "path.h"

namespace avl {

/* Makes `node` the only node of an empty tree. */
inline void plant(ZOEAVLRootp root, ZOEAVLp node) {
    root->headptr = node;
    links(node)[left] = links(node)[right] = null_thread;
}

/* Links `node` into the missing child below the last step of the path from `first` to `end`, and
 * restores the balance with at most one rotation. */
void link_and_rebalance(ZOEAVLRootp root, const Step *first, const Step *end, ZOEAVLp node);

/* Unlinks `node`, to which the path from `first` to `end` leads, restores the balance and clears
 * the node's links. The path is extended in place, so its array has the full capacity. */
void unlink_and_rebalance(ZOEAVLRootp root, Step *first, Step *end, ZOEAVLp node);

} // namespace avl

#endif
