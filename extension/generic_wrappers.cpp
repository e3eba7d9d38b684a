/* Locked slots for a caller's own table: each runs the table's plain slot with the lock held. */
#include "zoeavl/engine/locking.hpp"

namespace {
using namespace zoe::engine;

/* The table of the tree object that `root` is embedded in. */
const ZOEAVLOpTable *table_of(ZOEAVLRootp root) {
    const auto *const tree = reinterpret_cast<const ZOEAVLTree *>(
        reinterpret_cast<const char *>(root) - offsetof(ZOEAVLTree, root));
    return tree->optable;
}

} // namespace

ZOEAVLp ZOEAVLGenericSafeAdder(ZOEAVLRootp root, ZOEAVLp node) {
    const Hold hold(root, writing);
    return table_of(root)->adder(root, node);
}

ZOEAVLp ZOEAVLGenericSafeFinder(ZOEAVLRootp root, const void *key) {
    const Hold hold(root, writing);
    return table_of(root)->finder(root, key);
}

ZOEAVLp ZOEAVLGenericSafeFuzzier(ZOEAVLRootp root, const void *key, ZOEAVLp *previous,
                                 ZOEAVLp *next) {
    const Hold hold(root, writing);
    return table_of(root)->fuzzier(root, key, previous, next);
}
