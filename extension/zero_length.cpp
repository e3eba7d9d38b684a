/* The operations of a tree with zero-length keys: all keys are equal, and no key is ever read. */
#include "zoeavl/engine/locking.hpp"
#include "zoeavl/engine/repair.hpp"

namespace {
using namespace zoe::engine;

/* Holds the lock in `rw` for writing, searches included, if there is one. */
class HoldIfAny {
  public:
    explicit HoldIfAny(ZOEAVLRootp root_) : root(root_) {
        if (ZOLock *const lock = root->rw)
            lock->Get(lock, writing, wait_until_granted);
    }
    ~HoldIfAny() {
        if (ZOLock *const lock = root->rw)
            lock->Release(lock);
    }
    HoldIfAny(const HoldIfAny &) = delete;
    HoldIfAny &operator=(const HoldIfAny &) = delete;

  private:
    ZOEAVLRootp root;
};

} // namespace

ZOEAVLp ZOEAVLZeroAdd(ZOEAVLRootp root, ZOEAVLp node) {
    const HoldIfAny hold(root);
    if (root->headptr == nullptr)
        plant(head_link(root), node);
    return root->headptr;
}

ZOEAVLp ZOEAVLZeroFind(ZOEAVLRootp root, const void *) {
    const HoldIfAny hold(root);
    return root->headptr;
}

ZOEAVLp ZOEAVLZeroFuzzy(ZOEAVLRootp root, const void *key, ZOEAVLp *previous, ZOEAVLp *next) {
    const ZOEAVLp found = ZOEAVLZeroFind(root, key);
    *next = nullptr;
    *previous = nullptr;
    return found;
}

/* The node keeps its links: nobody may take clear links as the sign of a removed node. */
ZOEAVLp ZOEAVLZeroKill(ZOEAVLRootp root, const void *) {
    const HoldIfAny hold(root);
    const ZOEAVLp node = root->headptr;
    root->headptr = nullptr;
    return node;
}
