/* Ordered walking and list conversion: the order of a tree, read off its threads. */
#ifndef ZOEAVL_ENGINE_WALKING_HPP
#define ZOEAVL_ENGINE_WALKING_HPP

#include "links.hpp"

namespace zoe::inline v2::engine {

/* The outermost node on `side` of the tree with that head; null for an empty one. The only thread
 * on an outer spine is the null thread, so the descent ends at the first word without an address.
 */
inline ZOEAVLp outermost(ZOEAVLp head, Side side) {
    if (head == nullptr)
        return nullptr;
    ZOEAVLp node = head;
    for (std::uintptr_t next = links(node)[side]; next > tags; next = links(node)[side])
        node = node_at(next);
    return node;
}

/* Turns the tree with that head into a doubly linked list through the nodes' own words and gives
 * its first node. `tail` receives each node in turn, and null before anything is followed. */
inline ZOEAVLp flatten(ZOEAVLp head, ZOEAVLp *tail) {
    *tail = nullptr;
    const ZOEAVLp first = outermost(head, left);
    ZOEAVLp previous = nullptr;
    for (ZOEAVLp current = first; current != nullptr;) {
        const ZOEAVLp next = neighbour(current, right);
        links(current)[left] = word_of(previous);
        links(current)[right] = word_of(next);
        *tail = current;
        previous = current;
        current = next;
    }
    return first;
}

} // namespace zoe::inline v2::engine

#endif
