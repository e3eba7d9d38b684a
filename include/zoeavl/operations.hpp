/* Everything that can be done with an ordered index, on a head word that somebody keeps. */
#ifndef ZOEAVL_OPERATIONS_HPP
#define ZOEAVL_OPERATIONS_HPP

#include <cstddef>
#include <exception>
#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>

#include "engine/cutting.hpp"
#include "engine/scanning.hpp"
#include "iterator.hpp"
#include "key.hpp"

namespace ZOEAVL_FACE_NAMESPACE {

/* The records around a key: the nearest below, the one that has it, the nearest above; each null if
 * there is none. */
template <class Record>
struct neighbourhood {
    Record *below; /* the nearest record with a smaller key */
    Record *match; /* the record with that key */
    Record *above; /* the nearest record with a greater key */
};

namespace detail {

/* Ranges of records may hold the records, pointers to them, or reference wrappers. */
template <class Record>
Record &record_in(Record &r) {
    return r;
}
template <class Record>
Record &record_in(Record *r) {
    return *r;
}
template <class Record>
Record &record_in(const std::reference_wrapper<Record> &r) {
    return r;
}

/* Calls `act` with each record, and asks for the links of those ahead where the range can be read
 * twice. */
template <class Record, class First, class Last, class Act>
void for_each_fetched(First first, Last last, Act act) {
    if constexpr (std::forward_iterator<First>) {
        First ahead = first;
        for (int distance = 8; distance != 0 && ahead != last; distance--)
            ++ahead;
        for (; ahead != last; ++ahead, (void)++first) {
            __builtin_prefetch(std::addressof(record_in<Record>(*ahead)), 1);
            act(record_in<Record>(*first));
        }
    }
    for (; first != last; ++first)
        act(record_in<Record>(*first));
}

/* The same with an insertion; gives how many went in. */
template <class Record, class First, class Last, class Insert>
std::size_t insert_fetched(First first, Last last, Insert insert) {
    std::size_t count = 0;
    for_each_fetched<Record>(std::move(first), last, [&](Record &r) {
        count += static_cast<std::size_t>(insert(r).second);
    });
    return count;
}

template <class T>
inline constexpr bool is_tuple = false;
template <class... T>
inline constexpr bool is_tuple<std::tuple<T...>> = true;
template <class A, class B>
inline constexpr bool is_tuple<std::pair<A, B>> = true;

struct inspection; /* see check.hpp */

/** The interface of an index. `Derived` keeps the head word, given by `head_word()`, and is told of
 * every record that comes or goes by `counted(difference)`.
 *
 * In what follows n is the number of records. Look-up values are given one for each key, in their
 * order; where it says "or fewer", the first ones alone. A comparison that throws leaves everything
 * as it was. Nothing here allocates. */
template <class Derived, class Hook, auto... keys>
class operations {
    using ordering = detail::ordering<Hook, keys...>;

  public:
    /* The types of a container. An iterator is bidirectional, no larger than two pointers, and good
     * while its record is in the index; `--end()` needs the index where it was. */
    using record_type = typename Hook::record;
    using value_type = record_type;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = record_type &;
    using const_reference = const record_type &;
    using iterator = detail::cursor<Hook, false>;
    using const_iterator = detail::cursor<Hook, true>;
    using reverse_iterator = std::reverse_iterator<iterator>;
    using const_reverse_iterator = std::reverse_iterator<const_iterator>;

    /* ---- In order. Constant, but for the way to the outermost record: O(log n). ---- */

    /* The first record, the place behind the last, and the same from behind. */
    [[nodiscard]] iterator begin() { return at(outermost(engine::left)); }
    [[nodiscard]] const_iterator begin() const { return at(outermost(engine::left)); }
    [[nodiscard]] const_iterator cbegin() const { return begin(); }
    [[nodiscard]] iterator end() { return at(nullptr); }
    [[nodiscard]] const_iterator end() const { return at(nullptr); }
    [[nodiscard]] const_iterator cend() const { return end(); }
    [[nodiscard]] reverse_iterator rbegin() { return reverse_iterator(end()); }
    [[nodiscard]] const_reverse_iterator rbegin() const { return const_reverse_iterator(end()); }
    [[nodiscard]] const_reverse_iterator crbegin() const { return rbegin(); }
    [[nodiscard]] reverse_iterator rend() { return reverse_iterator(begin()); }
    [[nodiscard]] const_reverse_iterator rend() const { return const_reverse_iterator(begin()); }
    [[nodiscard]] const_reverse_iterator crend() const { return rend(); }

    /* True if there is no record. */
    [[nodiscard]] bool empty() const noexcept { return head() == nullptr; }

    /* The first and the last record; of an empty index a fault. */
    [[nodiscard]] record_type &front() { return *begin(); }
    [[nodiscard]] const record_type &front() const { return *begin(); }
    [[nodiscard]] record_type &back() { return *--end(); }
    [[nodiscard]] const record_type &back() const { return *--end(); }

    /* The iterator at a record of this index. Constant. */
    [[nodiscard]] iterator iterator_to(record_type &r) {
        expect_linked(Hook::node_of(r));
        return at(Hook::node_of(r));
    }
    [[nodiscard]] const_iterator iterator_to(const record_type &r) const {
        expect_linked(Hook::node_of(r));
        return at(Hook::node_of(r));
    }

    /* ---- Look-up. One descent each: O(log n) comparisons. ---- */

    /* The record with that key, or the end. */
    template <class... A>
    [[nodiscard]] iterator find(const A &...values) {
        return at(located(values...));
    }
    template <class... A>
    [[nodiscard]] const_iterator find(const A &...values) const {
        return at(located(values...));
    }
    template <class... A>
    [[nodiscard]] bool contains(const A &...values) const {
        return located(values...) != nullptr;
    }

    /* The first record whose key isn't below the values (or fewer), and the first whose key is
     * above them; else the end. */
    template <class... A>
    [[nodiscard]] iterator lower_bound(const A &...values) {
        return at(bound<engine::left>(ordering::hold(values...)));
    }
    template <class... A>
    [[nodiscard]] const_iterator lower_bound(const A &...values) const {
        return at(bound<engine::left>(ordering::hold(values...)));
    }
    template <class... A>
    [[nodiscard]] iterator upper_bound(const A &...values) {
        return at(bound<engine::right>(ordering::hold(values...)));
    }
    template <class... A>
    [[nodiscard]] const_iterator upper_bound(const A &...values) const {
        return at(bound<engine::right>(ordering::hold(values...)));
    }

    /* The records whose key begins with the values (or fewer), from lower to upper bound. */
    template <class... A>
    [[nodiscard]] range<iterator> equal_range(const A &...values) {
        return between_nodes(equal_nodes(values...));
    }
    template <class... A>
    [[nodiscard]] range<const_iterator> equal_range(const A &...values) const {
        return between_nodes(equal_nodes(values...));
    }

    /* The records from `low` on, up to but without `high`; empty if `high` is below `low`. Where
     * there are several keys, tuples of values for all or the first of them, or one value for the
     * first. */
    template <class Low, class High>
    [[nodiscard]] range<iterator> between(const Low &low, const High &high) {
        return between_nodes(bounds(low, high));
    }
    template <class Low, class High>
    [[nodiscard]] range<const_iterator> between(const Low &low, const High &high) const {
        return between_nodes(bounds(low, high));
    }

    /* The record with that key and those on both sides of it, in one descent. */
    template <class... A>
    [[nodiscard]] neighbourhood<record_type> neighbours(const A &...values) {
        return around<record_type>(values...);
    }
    template <class... A>
    [[nodiscard]] neighbourhood<const record_type> neighbours(const A &...values) const {
        return around<const record_type>(values...);
    }

    /* ---- Insertion. O(log n) comparisons, at most one rotation. ---- */

    /* Links `r` in, unless a record with an equal key is there. Gives the record in its place, and
     * whether it is `r`. `r` must not move, end or change its key while it is in. In checked mode
     * std::logic_error if `r` is linked. */
    std::pair<iterator, bool> insert(record_type &r) {
        expect_unlinked(r);
        ordering::prepare(r);
        const auto values = ordering::values_of(r);
        return inserted(ordering::search(values), [&r]() -> record_type & { return r; });
    }

    /* Links in each of the records, pointers or reference wrappers; gives how many went in. If a
     * comparison or the range throws, those already in stay in. A range that can be read twice is
     * read some elements ahead, each of them twice. */
    template <class First, class Last>
    requires requires(First first) { *first; }
    std::size_t insert(First first, Last last) {
        return insert_fetched<record_type>(std::move(first), last,
                                           [this](record_type &r) { return insert(r); });
    }
    template <class Range>
    std::size_t insert_range(Range &&records) {
        require_lasting<Range>();
        return insert(std::begin(records), std::end(records));
    }

    /* The record with that key; where there is none, links in what `make()` gives, a record with
     * that key. `make` isn't called otherwise, and must not touch the index; if it throws, nothing
     * has changed. Gives the record, and whether it was made. */
    template <class Make, class... A>
    std::pair<iterator, bool> find_or_insert(Make &&make, const A &...values) {
        require_all<A...>();
        const auto held = ordering::hold(values...);
        const auto search = ordering::search(held);
        return inserted(search, [&]() -> record_type & {
            record_type &r = std::forward<Make>(make)();
            expect_unlinked(r);
            ordering::prepare(r);
            expect([&] { return detail::compared(search, Hook::node_of(r)).equal; },
                   "zoeavl: the record that was made hasn't the key that was asked for");
            return r;
        });
    }

    /* ---- Removal. O(log n) comparisons, at most one rotation a level. A record that was removed
     * is the caller's again, and may end. ---- */

    /* Removes the record at `place`, which isn't the end, and gives the iterator behind it. */
    iterator erase(const_iterator place) {
        expect([&] { return place.node != nullptr; }, "zoeavl: the end was erased");
        expect_linked(place.node);
        const ZOEAVLp next = engine::neighbour(place.node, engine::right);
        [[maybe_unused]] const bool removed = remove_record(*Hook::record_of(place.node));
        expect([=] { return removed; },
               "zoeavl: the iterator's record isn't found at its place in this index");
        return at(next);
    }
    iterator erase(iterator place) { return erase(const_iterator(place)); }

    /* Removes the records of a range; gives `last`. O(log n), and a visit to each. */
    iterator erase(const_iterator first, const_iterator last) {
        if (first == last)
            return at(last.node);
        engine::Step low[engine::path_capacity];
        engine::Step high[engine::path_capacity];
        const engine::Step *const low_end = path_ahead_of(first.node, low);
        const engine::Step *const high_end = path_ahead_of(last.node, high);
        expect(
            [&] {
                return first.node != nullptr && (last.node == nullptr || is_before(*first, *last));
            },
            "zoeavl: the range ends ahead of its beginning");
        std::ptrdiff_t count = 0;
        const ZOEAVLp range = cut_out(low, low_end, high, high_end);
        engine::scan(engine::whole(range), engine::left, [&count](ZOEAVLp node) {
            unlink(node);
            count++;
        });
        derived().counted(-count);
        return at(last.node);
    }

    /* Removes that very record; false, and nothing changed, if it isn't in this index. */
    bool erase(record_type &r) { return remove_record(r); }

    /* Removes the record with that key and gives it; null if there is none. */
    template <class... A>
    record_type *extract(const A &...values) {
        require_all<A...>();
        const auto held = ordering::hold(values...);
        return record_at(remove(ordering::search(held)));
    }

    /* Removes the first or the last record and gives it; null if there is none. No comparison. */
    record_type *pop_front() { return pop(engine::left); }
    record_type *pop_back() { return pop(engine::right); }

    /* Removes every record. O(n), no comparison. */
    void clear() noexcept { engine::scan(taken_out(), engine::left, unlink); }

    /* Removes every record and hands each, in order, to `dispose`, which takes a pointer to it and
     * may end it. If `dispose` throws, the remaining ones are removed without it and the exception
     * goes on. O(n), no comparison. */
    template <class Disposer>
    void clear(Disposer dispose) {
        std::exception_ptr thrown;
        engine::scan(taken_out(), engine::left, [&](ZOEAVLp node) {
            unlink(node);
            if (thrown == nullptr)
                try {
                    dispose(Hook::record_of(node));
                } catch (...) {
                    thrown = std::current_exception();
                }
        });
        if (thrown != nullptr)
            std::rethrow_exception(thrown);
    }

    /* An index isn't copied: a record stands in it once. */
    operations(const operations &) = delete;
    operations &operator=(const operations &) = delete;

  protected:
    operations() noexcept { Hook::require(); }
    ~operations() = default;

  private:
    template <class, class, auto...>
    friend class batches;
    friend struct inspection;

    Derived &derived() { return static_cast<Derived &>(*this); }
    const Derived &derived() const { return static_cast<const Derived &>(*this); }
    [[nodiscard]] ZOEAVLp head() const noexcept { return *derived().head_word(); }
    [[nodiscard]] engine::Word *head_link() {
        return reinterpret_cast<engine::Word *>(derived().head_word());
    }
    [[nodiscard]] ZOEAVLp outermost(engine::Side side) const {
        return engine::outermost(head(), side);
    }
    iterator at(ZOEAVLp node) { return {node, derived().head_word()}; }
    const_iterator at(ZOEAVLp node) const { return {node, derived().head_word()}; }
    static record_type *record_at(ZOEAVLp node) {
        return node != nullptr ? Hook::record_of(node) : nullptr;
    }

    template <class Records>
    static constexpr void require_lasting() {
        using element = std::remove_cvref_t<decltype(*std::begin(std::declval<Records &>()))>;
        static_assert(
            std::is_lvalue_reference_v<Records> || !std::is_base_of_v<record_type, element> ||
                !requires { typename Records::allocator_type; },
            "zoeavl: the records would end with the range that holds them");
    }
    template <class... A>
    static constexpr void require_all() {
        static_assert(sizeof...(A) == sizeof...(keys),
                      "zoeavl: this look-up takes one value for each key");
    }
    static void expect_unlinked(const record_type &r) {
        if constexpr (Hook::checks_links)
            expect([&] { return Hook::node_of(r)->llink == nullptr; },
                   "zoeavl: the record is in an index already");
    }

    template <class... A>
    [[nodiscard]] ZOEAVLp located(const A &...values) const {
        require_all<A...>();
        const ZOEAVLp root = head();
        if (root == nullptr)
            return nullptr;
        const auto held = ordering::hold(values...);
        const engine::Landing landing = engine::descend(root, ordering::search(held));
        return landing.found ? landing.node : nullptr;
    }
    template <engine::Side equal_goes, class Held>
    [[nodiscard]] ZOEAVLp bound(const Held &held) const {
        return engine::bound<equal_goes>(head(), ordering::search(held));
    }

    using node_pair = std::pair<ZOEAVLp, ZOEAVLp>;
    range<iterator> between_nodes(node_pair nodes) { return {at(nodes.first), at(nodes.second)}; }
    range<const_iterator> between_nodes(node_pair nodes) const {
        return {at(nodes.first), at(nodes.second)};
    }
    template <class... A>
    [[nodiscard]] node_pair equal_nodes(const A &...values) const {
        const auto held = ordering::hold(values...);
        return {bound<engine::left>(held), bound<engine::right>(held)};
    }
    template <class Bound>
    static auto hold_bound(const Bound &bound) {
        if constexpr (sizeof...(keys) > 1 && is_tuple<Bound>)
            return std::apply([](const auto &...values) { return ordering::hold(values...); },
                              bound);
        else
            return ordering::hold(bound);
    }
    template <class Low, class High>
    [[nodiscard]] node_pair bounds(const Low &low, const High &high) const {
        const auto held_low = hold_bound(low);
        const ZOEAVLp end = bound<engine::left>(hold_bound(high));
        if (end != nullptr) {
            const Outcome low_to_end = detail::compared(ordering::search(held_low), end);
            if (!low_to_end.equal && low_to_end.after)
                return {end, end};
        }
        return {bound<engine::left>(held_low), end};
    }
    template <class Record, class... A>
    [[nodiscard]] neighbourhood<Record> around(const A &...values) const {
        require_all<A...>();
        const ZOEAVLp root = head();
        if (root == nullptr)
            return {nullptr, nullptr, nullptr};
        const auto held = ordering::hold(values...);
        const engine::Landing landing = engine::descend(root, ordering::search(held));
        if (landing.found)
            return {record_at(engine::neighbour(landing.node, engine::left)),
                    record_at(landing.node),
                    record_at(engine::neighbour(landing.node, engine::right))};
        const ZOEAVLp threaded = engine::node_at(engine::links(landing.node)[landing.side]);
        const bool ended_left = landing.side == engine::left;
        return {record_at(ended_left ? threaded : landing.node), nullptr,
                record_at(ended_left ? landing.node : threaded)};
    }

    /* In line, as `remove` is: a search is made in registers, and waits where it is handed on in
     * memory. */
    template <class Search, class Make>
    [[gnu::always_inline]] std::pair<iterator, bool> inserted(const Search &search, Make make) {
        const ZOEAVLp root = head();
        ZOEAVLp node = nullptr;
        if (root == nullptr) {
            node = Hook::node_of(make());
            engine::plant(head_link(), node);
        } else {
            engine::Step path[engine::path_capacity];
            engine::Step *end = path;
            const engine::Landing landing = engine::descend(root, search, end);
            if (landing.found)
                return {at(landing.node), false};
            node = Hook::node_of(make());
            engine::link_and_rebalance(head_link(), path, end, node);
        }
        derived().counted(1);
        return {at(node), true};
    }

    /* Removes the node that is sought, if it is `only` or `only` is null. */
    template <class Search>
    [[gnu::always_inline]] ZOEAVLp remove(const Search &search, ZOEAVLp only = nullptr) {
        const ZOEAVLp root = head();
        if (root == nullptr)
            return nullptr;
        engine::Step path[engine::path_capacity];
        engine::Step *end = path;
        const engine::Landing landing = engine::descend(root, search, end);
        if (!landing.found || (only != nullptr && landing.node != only))
            return nullptr;
        engine::unlink_and_rebalance(head_link(), path, end, landing.node);
        derived().counted(-1);
        return landing.node;
    }
    /* True if that very record is in this index. */
    [[nodiscard]] bool holds(const record_type &r) const {
        const auto values = ordering::values_of(r);
        if (head() == nullptr)
            return false;
        const engine::Landing landing = engine::descend(head(), ordering::search(values));
        return landing.found && landing.node == Hook::node_of(r);
    }
    bool remove_record(const record_type &r) {
        const auto values = ordering::values_of(r);
        return remove(ordering::search(values), Hook::node_of(r)) != nullptr;
    }
    record_type *pop(engine::Side side) {
        const ZOEAVLp root = head();
        if (root == nullptr)
            return nullptr;
        engine::Step path[engine::path_capacity];
        engine::Step *end = path;
        ZOEAVLp node = root;
        for (std::uintptr_t next = engine::links(node)[side]; !engine::is_thread(next);
             next = engine::links(node)[side]) {
            *end++ = engine::Step(node, side);
            node = engine::node_at(next);
        }
        engine::unlink_and_rebalance(head_link(), path, end, node);
        derived().counted(-1);
        return Hook::record_of(node);
    }

    /* Leaves the index empty and gives the tree that was in it. */
    engine::Subtree taken_out() {
        const engine::Subtree tree = engine::whole(head());
        set_head(nullptr);
        derived().emptied();
        return tree;
    }
    static void unlink(ZOEAVLp node) {
        engine::links(node)[engine::left] = engine::links(node)[engine::right] = 0;
    }
    void set_head(ZOEAVLp node) noexcept { *derived().head_word() = node; }

    static bool is_before(const record_type &a, const record_type &b) {
        const auto values = ordering::values_of(a);
        const Outcome outcome = detail::compared(ordering::search(values), Hook::node_of(b));
        return !outcome.equal && !outcome.after;
    }

    /* The path into the gap ahead of a node of this index, or behind the last for null. */
    const engine::Step *path_ahead_of(ZOEAVLp node, engine::Step *path) const {
        engine::Step *end = path;
        if (node == nullptr) {
            for (node = head(); node != nullptr;) {
                *end++ = engine::Step(node, engine::right);
                const std::uintptr_t next = *end[-1].link();
                node = engine::is_thread(next) ? nullptr : engine::node_at(next);
            }
            return end;
        }
        const auto values = ordering::values_of(*Hook::record_of(node));
        expect([&] { return holds(*Hook::record_of(node)); },
               "zoeavl: the iterator's record isn't found at its place in this index");
        engine::descend(head(), ordering::search(values), end);
        return engine::into_gap(node, engine::left, end);
    }
    /* The path into the gap at the lower bound. */
    template <class Held>
    const engine::Step *path_to(const Held &held, engine::Step *path) const {
        const auto search = ordering::search(held);
        engine::Step *end = path;
        if (head() != nullptr)
            engine::descend(head(), engine::BoundSearch<decltype(search), engine::left>{search},
                            end);
        return end;
    }
    ZOEAVLp cut_out(const engine::Step *low, const engine::Step *low_end, const engine::Step *high,
                    const engine::Step *high_end) {
        const engine::RangeCut cut = engine::cut_between(low, low_end, high, high_end);
        set_head(cut.rest);
        return cut.range;
    }
};

} // namespace detail

/* Removes the records for which `pred(const record &)` is true; gives how many. If `pred` throws,
 * those already removed stay removed. */
template <class Derived, class Hook, auto... keys, class Pred>
std::size_t erase_if(detail::operations<Derived, Hook, keys...> &index, Pred pred) {
    std::size_t count = 0;
    for (auto place = index.begin(); place != index.end();) {
        const typename Hook::record &r = *place;
        const bool goes = pred(r);
        place = goes ? index.erase(place) : std::next(place);
        count += goes ? 1 : 0;
    }
    return count;
}

} // namespace ZOEAVL_FACE_NAMESPACE

#endif
