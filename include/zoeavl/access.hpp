/* Access to an index for as long as a lock is held. */
#ifndef ZOEAVL_ACCESS_HPP
#define ZOEAVL_ACCESS_HPP

#include <memory>
#include <type_traits>
#include <utility>

#include "face.hpp"

namespace ZOEAVL_FACE_NAMESPACE::detail {

/* Holds the lock from its making to its end, and reaches the index meanwhile. What comes out of the
 * index (iterators, records) is only as safe as the lock is held. */
template <class Index, class Lock>
class [[nodiscard]] access {
  public:
    template <class Lockable, class Source>
    access(Lockable &lockable, Source &source) : lock(lockable), index(source) {}
    access(const access &) = delete;
    access &operator=(const access &) = delete;
    ~access() = default;

    auto *operator->() { return std::addressof(index); }
    auto &operator*() { return index; }

  private:
    Lock lock;
    Index index;
};

} // namespace ZOEAVL_FACE_NAMESPACE::detail

#endif
