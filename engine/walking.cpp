/* Ordered walking and list conversion: the order of a tree, read off its threads. */
#include "links.h"

namespace avl {
namespace {

/* The outermost node on `side` of the tree with that head; null for an empty one. The only thread
 * on an outer spine is the null thread, so the descent ends at the first word without an address.
 */
ZOEAVLp outermost(ZOEAVLp head, Side side) {
    if (head == nullptr)
        return nullptr;
    ZOEAVLp node = head;
    for (std::uintptr_t next = links(node)[side]; next > tags; next = links(node)[side])
        node = node_at(next);
    return node;
}

} // namespace
} // namespace avl

using namespace avl;

ZOEAVLp ZOEAVLFirst(const ZOEAVL_ROOT *root) {
    return outermost(root->headptr, left);
}

ZOEAVLp ZOEAVLLast(const ZOEAVL_ROOT *root) {
    return outermost(root->headptr, right);
}

ZOEAVLp ZOEAVLNext(ZOEAVLp node) {
    return node == nullptr ? nullptr : neighbour(node, right);
}

ZOEAVLp ZOEAVLPrev(ZOEAVLp node) {
    return node == nullptr ? nullptr : neighbour(node, left);
}

ZOEAVLp ZOEAVLSTFirst(ZOEAVLTree *, const ZOEAVLp *rootp) {
    return outermost(*rootp, left);
}

ZOEAVLp ZOEAVLSTLast(ZOEAVLTree *, const ZOEAVLp *rootp) {
    return outermost(*rootp, right);
}

ZOEAVLp ZOEAVLSTToList(ZOEAVLTree *, ZOEAVLp *rootp, ZOEAVLp *tailp) {
    ZOEAVLp unwanted = nullptr;
    if (tailp == nullptr)
        tailp = &unwanted;
    const ZOEAVLp first = outermost(*rootp, left);
    *tailp = nullptr;

    ZOEAVLp previous = nullptr;
    for (ZOEAVLp current = first; current != nullptr;) {
        const ZOEAVLp next = neighbour(current, right);
        links(current)[left] = word_of(previous);
        links(current)[right] = word_of(next);
        *tailp = current;
        previous = current;
        current = next;
    }
    return first;
}

ZOEAVLp ZOEAVLToList(ZOEAVLTree *tree, ZOEAVLp *tailp) {
    return ZOEAVLSTToList(tree, &tree->root.headptr, tailp);
}
