/* An index for several threads: nothing reaches it but through its lock. */
#ifndef ZOEAVL_GUARDED_HPP
#define ZOEAVL_GUARDED_HPP

#include <mutex>
#include <shared_mutex>

#include "access.hpp"
#include "index.hpp"
#include "scaling_mutex.hpp"

namespace ZOEAVL_FACE_NAMESPACE {

/* An index with a mutex of the standard's requirements: read() takes it shared where it can be, and
 * write() for its own. Records are the caller's: who removes one still waits for readers who hold
 * it from an earlier look-up. */
template <class Index, class Mutex = scaling_mutex>
class guarded {
    template <class Any>
    static constexpr bool can_be_shared = requires(Any &any) {
        any.lock_shared();
    };
    using read_lock =
        std::conditional_t<can_be_shared<Mutex>, std::shared_lock<Mutex>, std::unique_lock<Mutex>>;

  public:
    guarded() = default;
    /* Takes over an index that was filled alone. */
    explicit guarded(Index &&filled) : index(std::move(filled)) {}

    /* Waits for the lock, and gives an object with -> and * that holds it until its end. A thread
     * that holds either must not ask for another. */
    detail::access<const Index, read_lock> read() const { return {mutex, index}; }
    detail::access<Index, std::unique_lock<Mutex>> write() { return {mutex, index}; }

  private:
    mutable Mutex mutex;
    Index index;
};

} // namespace ZOEAVL_FACE_NAMESPACE

#endif
