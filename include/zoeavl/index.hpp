/* An index of its own: the head word and the number of its records. */
#ifndef ZOEAVL_INDEX_HPP
#define ZOEAVL_INDEX_HPP

#include <atomic>
#include <limits>

#include "batches.hpp"

namespace ZOEAVL_FACE_NAMESPACE {

/* A typed index over records that hold their links themselves; see index and index_on. It owns no
 * record, and its destructor reads none. Iterators go on at the index that it is moved to. Several
 * threads may read it at once; a writer needs it alone (see guarded). */
template <class Hook, auto... keys>
class basic_index : public detail::batches<basic_index<Hook, keys...>, Hook, keys...> {
    template <class, class, auto...>
    friend class detail::operations;
    template <class, class, auto...>
    friend class detail::batches;

  public:
    /* Empty, or with the records of `other`, which becomes empty. */
    basic_index() noexcept = default;
    basic_index(basic_index &&other) noexcept { swap(other); }
    /* The records that were in this index are left as they are, as by its end. */
    basic_index &operator=(basic_index &&other) noexcept {
        basic_index taken(std::move(other));
        swap(taken);
        return *this;
    }
    ~basic_index() = default;

    /* Exchange the records of two indexes. Constant; iterators go along. */
    void swap(basic_index &other) noexcept {
        std::swap(root, other.root);
        const std::size_t mine = records.load(std::memory_order_relaxed);
        records.store(other.records.load(std::memory_order_relaxed), std::memory_order_relaxed);
        other.records.store(mine, std::memory_order_relaxed);
    }
    friend void swap(basic_index &a, basic_index &b) noexcept { a.swap(b); }

    /* The number of records. Constant; the first call after a cut counts, O(n). */
    [[nodiscard]] std::size_t size() const {
        std::size_t known = records.load(std::memory_order_relaxed);
        if (known == uncounted) {
            known = static_cast<std::size_t>(std::distance(this->begin(), this->end()));
            records.store(known, std::memory_order_relaxed);
        }
        return known;
    }

  private:
    static constexpr std::size_t uncounted = std::numeric_limits<std::size_t>::max();

    ZOEAVLp *head_word() noexcept { return &root; }
    const ZOEAVLp *head_word() const noexcept { return &root; }
    void counted(std::ptrdiff_t difference) noexcept {
        const std::size_t known = records.load(std::memory_order_relaxed);
        if (known != uncounted)
            records.store(known + static_cast<std::size_t>(difference), std::memory_order_relaxed);
    }
    void emptied() noexcept { records.store(0, std::memory_order_relaxed); }
    void joined(const basic_index &other) noexcept {
        const std::size_t more = other.records.load(std::memory_order_relaxed);
        if (more == uncounted)
            records.store(uncounted, std::memory_order_relaxed);
        else
            counted(static_cast<std::ptrdiff_t>(more));
    }
    void adopt(ZOEAVLp head, std::size_t count = uncounted) noexcept {
        root = head;
        records.store(count, std::memory_order_relaxed);
    }
    void cut() noexcept {
        records.store(root == nullptr ? 0 : uncounted, std::memory_order_relaxed);
    }

    ZOEAVLp root = nullptr;
    mutable std::atomic<std::size_t> records{0};
};

/* An index over records derived from `node`, by the keys in their order. */
template <class Record, auto... keys>
using index = basic_index<detail::base_hook<Record>, keys...>;

/* The same over the member node at `hook`, so that one record may stand in several indexes. */
template <auto hook, auto... keys>
using index_on = basic_index<detail::member_hook<hook>, keys...>;

} // namespace ZOEAVL_FACE_NAMESPACE

#endif
