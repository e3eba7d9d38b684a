/* Access to an index for as long as a lock is held. */
#ifndef ZOEAVL_ACCESS_HPP
#define ZOEAVL_ACCESS_HPP

#include <memory>

#include "face.hpp"

namespace ZOEAVL_FACE_NAMESPACE::detail {

/* Holds the lock from its making to its end, and reaches the index meanwhile. What comes out of the
 * index (iterators, records) is only as safe as the lock is held: a loop goes over the access
 * object itself, `for (auto &r : guarded.read())`, which then lives as long as the loop, and not
 * over what * gives of one that ends at once. */
template <class Index, class Lock>
class [[nodiscard]] access {
  public:
    template <class Lockable>
    access(Lockable &lockable, Index &index_) : lock(lockable), index(index_) {}
    access(const access &) = delete;
    access &operator=(const access &) = delete;
    ~access() = default;

    Index *operator->() const { return std::addressof(index); }
    Index &operator*() const { return index; }
    auto begin() const { return index.begin(); }
    auto end() const { return index.end(); }

  private:
    Lock lock;
    Index &index;
};

} // namespace ZOEAVL_FACE_NAMESPACE::detail

#endif
