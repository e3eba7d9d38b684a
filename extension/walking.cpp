/* Ordered walking and list conversion, on a root and on a root word of the caller's. */
#include "zoeavl/engine/walking.hpp"

using namespace zoe::engine;

ZOEAVLp ZOEAVLFirst(const ZOEAVL_ROOT *root) {
    return outermost(root->headptr, left);
}

ZOEAVLp ZOEAVLLast(const ZOEAVL_ROOT *root) {
    return outermost(root->headptr, right);
}

ZOEAVLp ZOEAVLNext(ZOEAVLp node) {
    return node == nullptr ? nullptr : next_along(node, right);
}

ZOEAVLp ZOEAVLPrev(ZOEAVLp node) {
    return node == nullptr ? nullptr : next_along(node, left);
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
    return flatten(*rootp, reinterpret_cast<Word *>(tailp));
}

ZOEAVLp ZOEAVLToList(ZOEAVLTree *tree, ZOEAVLp *tailp) {
    return ZOEAVLSTToList(tree, &tree->root.headptr, tailp);
}
