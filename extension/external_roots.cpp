/* The operations in force of one tree object, run on root words that callers keep elsewhere. */
#include <cstdint>

#include "zoeavl.h"

namespace {

/* The part of a tree object that an operation given a root may reach: the root, and the context at
 * its distance. What lies between is unset on purpose: setting it would cost more than the call. */
struct TemporaryRoot {
    TemporaryRoot(const ZOEAVLTree *tree, ZOEAVLp head) { // NOLINT: `unset` stays unset
        root.headptr = head;
        root.keyoff = tree->root.keyoff;
        root.keylen = tree->root.keylen;
        root.rw = tree->root.rw;
        context = tree->context;
    }
    ZOEAVL_ROOT root;
    unsigned char unset[136];
    std::uint64_t context;
};
ZO_ASSERT_OFFSET(TemporaryRoot, context,
                 offsetof(ZOEAVLTree, context) - offsetof(ZOEAVLTree, root));

} // namespace

ZOEAVLp ZOEAVLSTAdd(ZOEAVLTree *tree, ZOEAVLp *rootp, ZOEAVLp node) {
    TemporaryRoot temporary(tree, *rootp);
    const ZOEAVLp result = tree->adder(&temporary.root, node);
    *rootp = temporary.root.headptr;
    return result;
}

ZOEAVLp ZOEAVLSTFind(ZOEAVLTree *tree, const ZOEAVLp *rootp, const void *key) {
    TemporaryRoot temporary(tree, *rootp);
    return tree->finder(&temporary.root, key);
}

ZOEAVLp ZOEAVLSTFFnd(ZOEAVLTree *tree, const ZOEAVLp *rootp, const void *key, ZOEAVLp *previous,
                     ZOEAVLp *next) {
    TemporaryRoot temporary(tree, *rootp);
    return tree->fuzzier(&temporary.root, key, previous, next);
}

ZOEAVLp ZOEAVLSTRemove(ZOEAVLTree *tree, ZOEAVLp *rootp, const void *key) {
    TemporaryRoot temporary(tree, *rootp);
    const ZOEAVLp result = tree->killer(&temporary.root, key);
    *rootp = temporary.root.headptr;
    return result;
}
