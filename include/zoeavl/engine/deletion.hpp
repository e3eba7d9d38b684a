/* Removal of the node with a given key. */
#ifndef ZOEAVL_ENGINE_DELETION_HPP
#define ZOEAVL_ENGINE_DELETION_HPP

#include "descent.hpp"
#include "locking.hpp"
#include "repair.hpp"

namespace zoe::inline v2::engine {

/* Unlinks the node whose key equals the one at `key` and gives it with both links cleared; null,
 * and nothing is written, if there is none. */
template <class Key, class Lock>
[[gnu::always_inline]] inline ZOEAVLp remove(ZOEAVLRootp root, const void *key) {
    const std::ptrdiff_t offset = root->keyoff;
    const Lock lock(root, writing);
    const ZOEAVLp head = root->headptr;
    if (head == nullptr)
        return nullptr;
    Step path[path_capacity];
    Step *end = path;
    const Landing landing = descend(head, search_for<Key>(key, root, offset), end);
    if (!landing.found)
        return nullptr;
    unlink_and_rebalance(head_link(root), path, end, landing.node);
    return landing.node;
}

} // namespace zoe::inline v2::engine

#endif
