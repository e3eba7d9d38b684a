/* What stands around an operation: nothing, or the root's reader/writer lock. */
#ifndef ZOEAVL_ENGINE_LOCKING_HPP
#define ZOEAVL_ENGINE_LOCKING_HPP

#include <cstdint>

#include "zoeavl.h"

namespace zoe::inline v2::engine {

enum LockMode : std::uint32_t { reading = 0, writing = 1 };
inline constexpr std::uint32_t wait_until_granted = 1;

/* Holds the lock in `rw` for a scope. The release reads `rw` anew. */
class Hold {
  public:
    Hold(ZOEAVLRootp root_, LockMode mode) : root(root_) {
        ZOLock *lock = root->rw;
        lock->Get(lock, mode, wait_until_granted);
    }
    ~Hold() {
        ZOLock *lock = root->rw;
        lock->Release(lock);
    }
    Hold(const Hold &) = delete;
    Hold &operator=(const Hold &) = delete;

  private:
    ZOEAVLRootp root;
};

class NoHold {
  public:
    NoHold(ZOEAVLRootp, LockMode) {}
    ~NoHold() {} // NOLINT(modernize-use-equals-default): keeps plain scopes from looking unused
    NoHold(const NoHold &) = delete;
    NoHold &operator=(const NoHold &) = delete;
};

} // namespace zoe::inline v2::engine

#endif
