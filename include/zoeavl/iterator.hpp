/* Iterators over records in order, and ranges of two of them. */
#ifndef ZOEAVL_ITERATOR_HPP
#define ZOEAVL_ITERATOR_HPP

#include <cstddef>
#include <iterator>
#include <memory>
#include <ranges>
#include <type_traits>

#include "engine/walking.hpp"
#include "node.hpp"

namespace ZOEAVL_FACE_NAMESPACE {
namespace detail {

/* A removal leaves both words of a node null, and those of a linked one never are. */
inline void expect_linked(ZOEAVLp node) {
    expect([=] { return node == nullptr || node->llink != nullptr; },
           "zoeavl: the record is in no index");
}

/* A place in the order: a record, or the end. It stays good while its record stays in the index,
 * whatever else comes and goes; going back from the end needs the index where it was. Moving by one
 * is constant on average. */
template <class Hook, bool is_const>
class cursor {
  public:
    using value_type = typename Hook::record;
    using reference = std::conditional_t<is_const, const value_type &, value_type &>;
    using pointer = std::conditional_t<is_const, const value_type *, value_type *>;
    using difference_type = std::ptrdiff_t;
    using iterator_category = std::bidirectional_iterator_tag;

    cursor() = default;
    template <bool other_is_const>
    requires(is_const && !other_is_const) cursor(const cursor<Hook, other_is_const> &other)
    noexcept // NOLINT: to const, as a pointer
        : node(other.node), head(other.head) {}

    reference operator*() const {
        expect([this] { return node != nullptr; }, "zoeavl: the end was dereferenced");
        return *Hook::record_of(node);
    }
    pointer operator->() const { return std::addressof(**this); }

    cursor &operator++() {
        expect([this] { return node != nullptr; }, "zoeavl: the end was incremented");
        expect_linked(node);
        node = engine::next_along(node, engine::right);
        return *this;
    }
    cursor &operator--() {
        expect([this] { return head != nullptr; },
               "zoeavl: an iterator of no index was decremented");
        expect_linked(node);
        node = node != nullptr ? engine::next_along(node, engine::left)
                               : engine::outermost(*head, engine::right);
        expect([this] { return node != nullptr; }, "zoeavl: the beginning was decremented");
        return *this;
    }
    cursor operator++(int) {
        const cursor before = *this;
        ++*this;
        return before;
    }
    cursor operator--(int) {
        const cursor before = *this;
        --*this;
        return before;
    }
    friend bool operator==(const cursor &a, const cursor &b) noexcept { return a.node == b.node; }

  private:
    template <class, class, auto...>
    friend class operations;
    template <class, class, auto...>
    friend class batches;
    friend class cursor<Hook, true>;
    cursor(ZOEAVLp node_, const ZOEAVLp *head_) noexcept : node(node_), head(head_) {}

    ZOEAVLp node = nullptr;
    const ZOEAVLp *head = nullptr;
};

} // namespace detail

/* Two iterators as a range. It owns nothing, and its iterators outlive it. */
template <class Iterator>
class range {
  public:
    /* Empty, or from `first_` up to but without `last_`. */
    range() = default;
    range(Iterator first_, Iterator last_) noexcept : first(first_), last(last_) {}
    template <class Other>
    requires std::is_convertible_v<Other, Iterator> range(const range<Other> &other)
    noexcept // NOLINT: as its iterators do
        : first(other.begin()), last(other.end()) {}

    /* The two iterators, and whether they are one. */
    [[nodiscard]] Iterator begin() const noexcept { return first; }
    [[nodiscard]] Iterator end() const noexcept { return last; }
    [[nodiscard]] bool empty() const noexcept { return first == last; }

  private:
    Iterator first, last;
};

} // namespace ZOEAVL_FACE_NAMESPACE

template <class Iterator>
inline constexpr bool std::ranges::enable_view<zoe::range<Iterator>> = true;
template <class Iterator>
inline constexpr bool std::ranges::enable_borrowed_range<zoe::range<Iterator>> = true;

#endif
