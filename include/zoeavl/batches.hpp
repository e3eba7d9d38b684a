/* What is done with many records at a time, on a head word that somebody keeps. */
#ifndef ZOEAVL_BATCHES_HPP
#define ZOEAVL_BATCHES_HPP

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/building.hpp"
#include "engine/lockstep.hpp"
#include "operations.hpp"
#ifdef ZOEAVL_CHECKED
#    include "check.hpp"
#endif

namespace ZOEAVL_FACE_NAMESPACE {

template <class Hook, auto... keys>
class basic_index;

namespace detail {

/* An output that is left alone. */
struct nowhere {
    nowhere &operator*() { return *this; }
    nowhere &operator++() { return *this; }
    void operator=(const void *) const {} // NOLINT: an assignment that does nothing
};

/* The integer that a search goes by; nothing for one that goes by none. */
template <class Search>
struct search_integer {
    struct type {};
};
template <engine::IntegerSearch Search>
struct search_integer<Search> {
    using type = decltype(std::declval<const Search &>().sought_integer());
};

/* The interface of an index for many records at a time, on top of that for one.
 *
 * Keys come as any forward range of look-up values, tuples of them where there are several keys.
 * Records come as any forward range of records, pointers to them, or reference wrappers, which is
 * read some elements ahead, each of them twice. Outputs take a pointer to a record, or null.
 *
 * Descents go in groups, so that memory answers many at a time. Where a comparison, or a callable
 * that gives a key, isn't noexcept, they go one by one instead: if it throws, what was done for the
 * keys or records ahead of it stays done. Nothing here allocates but `assign`, and checked mode,
 * which looks for faults in the whole index first. */
template <class Derived, class Hook, auto... keys>
class batches : public operations<Derived, Hook, keys...> {
    using base = operations<Derived, Hook, keys...>;
    using ordering = detail::ordering<Hook, keys...>;
    using index_type = basic_index<Hook, keys...>;

  public:
    using record_type = typename base::record_type;
    using iterator = typename base::iterator;

    /* ---- Look-up, insertion and removal: the outcome, to the last link, is that of the operations
     * one by one, in order. ---- */

    /* Gives `out` the record with each key, or null. Where several records count as equal to a
     * look-up value it may be another than `find` gives. */
    template <class Keys, class Out>
    Out find_many(Keys &&values, Out out) {
        return find_each<record_type>(values, std::move(out));
    }
    template <class Keys, class Out>
    Out find_many(Keys &&values, Out out) const {
        return find_each<const record_type>(values, std::move(out));
    }

    /* Removes the record with each key, and gives `out` that record, or null. */
    template <class Keys, class Out>
    Out erase_many(Keys &&values, Out out) {
        expect_sound();
        const auto erase = [&](const auto &search) {
            *out = base::record_at(this->remove(search));
            ++out;
        };
        if (is_higher_than<key_search<Keys>>(warmed_height))
            with_keys(values, [&](auto &group, std::size_t count) {
                warm(group, count);
                for (std::size_t i = 0; i < count; i++)
                    erase(group[i]->search);
            });
        else
            for (const auto &value : values) {
                const auto held = hold_key(value);
                erase(ordering::search(held));
            }
        return out;
    }

    /* Inserts the records and gives how many went in. `out` takes each that didn't, since its key
     * was there. */
    template <class Records, class Out>
    std::size_t insert_many(Records &&records, Out out) {
        base::template require_lasting<Records>();
        expect_sound();
        std::size_t inserted = 0;
        const auto account = [&](record_type &r, bool went_in) {
            if (went_in) {
                inserted++;
            } else {
                *out = std::addressof(r);
                ++out;
            }
        };
        if (is_higher_than<own_search>(warmed_height))
            with_records(records_in(records), [&](auto &group, std::size_t count) {
                warm(group, count);
                for (std::size_t i = 0; i < count; i++) {
                    base::expect_unlinked(group[i]->source);
                    account(group[i]->source, insert_sought(*group[i]));
                }
            });
        else
            for_each_fetched<record_type>(
                std::begin(records), std::end(records),
                [&](record_type &r) { account(r, this->insert(r).second); });
        return inserted;
    }
    template <class Records>
    std::size_t insert_many(Records &&records) {
        return insert_many(std::forward<Records>(records), nowhere{});
    }

    /* ---- The whole content at once. If anything throws, nothing has changed. ---- */

    /* Replaces what is there by the records, which ascend strictly: else std::invalid_argument that
     * names the first that doesn't, counted from 0. Makes the complete tree. O(n). Goes through the
     * records twice, so they aren't taken from the index itself, whose links are gone by then, and
     * reading them the second time must not throw. */
    template <class Records>
    void assign_sorted(Records &&records) {
        base::template require_lasting<Records>();
        static_assert(std::forward_iterator<decltype(std::begin(records))>,
                      "zoeavl: assign_sorted goes through the records twice");
        expect_sound();
        std::size_t count = 0;
        record_type *previous = nullptr;
        for_each_fetched<record_type>(std::begin(records), std::end(records), [&](record_type &r) {
            admit(r);
            if (previous != nullptr && !base::is_before(*previous, r))
                throw std::invalid_argument("zoeavl: record " + std::to_string(count) +
                                            " isn't behind the one ahead of it");
            previous = std::addressof(r);
            count++;
        });
        replace_by(std::begin(records), std::end(records), count);
    }

    /* Replaces what is there by the records, in any order. Of those with equal keys the first is
     * taken, and `out`, whose end is given, takes the others. O(n log n); std::bad_alloc if there
     * is no memory for n entries to sort. */
    template <class Records, class Out>
    Out assign(Records &&records, Out out) {
        base::template require_lasting<Records>();
        expect_sound();
        std::vector<entry> entries;
        if constexpr (requires { std::size(records); })
            entries.reserve(static_cast<std::size_t>(std::size(records)));
        for_each_fetched<record_type>(std::begin(records), std::end(records), [&](record_type &r) {
            admit(r);
            entries.emplace_back(r);
        });
        std::stable_sort(entries.begin(), entries.end());
        std::size_t kept = 0;
        for (const entry &e : entries)
            if (kept == 0 || entries[kept - 1] < e) {
                entries[kept++] = e;
            } else {
                *out = e.record;
                ++out;
            }
        entries.resize(kept, entry{});
        replace_by(entries.begin(), entries.end(), kept);
        return out;
    }
    template <class Records>
    void assign(Records &&records) {
        assign(std::forward<Records>(records), nowhere{});
    }

    /* ---- Visits in order, with the next records fetched ahead. O(n). ---- */

    /* Calls `visit(record &)` with each record, in order or from the end, or with those of
     * between(low, high). It must not touch the index, nor the key. If it throws, the walk ends. */
    template <class Visit>
    void for_each(Visit visit) {
        scan<record_type>(engine::left, visit);
    }
    template <class Visit>
    void for_each(Visit visit) const {
        scan<const record_type>(engine::left, visit);
    }
    template <class Visit>
    void for_each_reverse(Visit visit) {
        scan<record_type>(engine::right, visit);
    }
    template <class Visit>
    void for_each_reverse(Visit visit) const {
        scan<const record_type>(engine::right, visit);
    }
    template <class Low, class High, class Visit>
    void for_each(const Low &low, const High &high, Visit visit) {
        scan_range<record_type>(low, high, visit);
    }
    template <class Low, class High, class Visit>
    void for_each(const Low &low, const High &high, Visit visit) const {
        scan_range<const record_type>(low, high, visit);
    }

    /* ---- Cutting and joining: O(log n). Iterators stay good, in the index where their record is
     * now. The next size() counts, if the number isn't known. ---- */

    /* Cuts off everything from the lower bound of the values (or fewer) on. */
    template <class... A>
    [[nodiscard]] index_type split(const A &...values) {
        expect_sound();
        index_type cut_off;
        engine::Step path[engine::path_capacity];
        const engine::Step *const end = this->path_to(ordering::hold(values...), path);
        const engine::Divided divided = engine::cut(path, end);
        if (divided.pieces[engine::right].empty())
            return cut_off;
        this->set_head(divided.pieces[engine::left].root());
        this->derived().cut();
        cut_off.adopt(divided.pieces[engine::right].root());
        return cut_off;
    }

    /* Cuts out the records of between(low, high). */
    template <class Low, class High>
    [[nodiscard]] index_type extract_range(const Low &low, const High &high) {
        expect_sound();
        index_type range;
        engine::Step low_path[engine::path_capacity];
        engine::Step high_path[engine::path_capacity];
        const engine::Step *const low_end = this->path_to(base::hold_bound(low), low_path);
        const engine::Step *const high_end = this->path_to(base::hold_bound(high), high_path);
        if (const ZOEAVLp cut = this->cut_out(low_path, low_end, high_path, high_end)) {
            this->derived().cut();
            range.adopt(cut);
        }
        return range;
    }

    /* Takes over all records of `other`, whose keys are all behind ours: else
     * std::invalid_argument, and nothing has changed. */
    void join(index_type &&other) {
        expect_sound();
        other.expect_sound();
        if (other.empty())
            return;
        if (!this->empty() && !base::is_before(this->back(), other.front()))
            throw std::invalid_argument("zoeavl: the first record to be joined isn't behind ours");
        this->derived().joined(other);
        this->set_head(engine::concatenate(this->head(), other.head()));
        other.set_head(nullptr);
        other.emptied();
    }

    /* Takes over those records of `other` whose keys aren't there yet; the rest stays in `other`.
     * O(m log n) for a small `other` of m records, else O(n + m). */
    void merge(index_type &other) {
        expect_sound();
        other.expect_sound();
        if (other.head() == this->head())
            return;
        if constexpr (!own_search::nothrow) {
            for (auto place = other.begin(); place != other.end();)
                place = moved_from(other, place);
        } else if (engine::whole(other.head()).height + 3 < engine::whole(this->head()).height) {
            merge_into_larger(other);
        } else {
            merge_alike(other);
        }
    }
    void merge(index_type &&other) { merge(other); }

    /* ---- Ascending insertion ---- */

    /* Inserts as the index does, and keeps the path to the last record, so that one behind it is
     * linked in with one comparison and without a descent. It stays where it was made, and while it
     * is in use nothing else changes the index. */
    class appender_type {
      public:
        std::pair<iterator, bool> insert(record_type &r) {
            base::expect_unlinked(r);
            ordering::prepare(r);
            if (end == path)
                end = const_cast<engine::Step *>(index.path_ahead_of(nullptr, path));
            if (end == path || !base::is_before(*Hook::record_of(end[-1].node()), r)) {
                end = path;
                return index.insert(r);
            }
            const ZOEAVLp node = Hook::node_of(r);
            const std::ptrdiff_t behind =
                engine::link_and_rebalance(index.head_link(), path, end, node) - path;
            *end++ = engine::Step(node, engine::right);
            /* Where the growth ended, a rotation may have led the path past a node. */
            engine::Step *const next = path + behind;
            if (behind != 0 &&
                engine::strip_balance(*next[-1].link()) != engine::word_of(next->node()))
                end = std::copy(next, end, next - 1);
            index.derived().counted(1);
            return {index.at(node), true};
        }

        /* The same for a range, whose records are fetched ahead; gives how many went in. */
        template <class Records>
        std::size_t insert_range(Records &&records) {
            base::template require_lasting<Records>();
            return insert_fetched<record_type>(std::begin(records), std::end(records),
                                               [this](record_type &r) { return insert(r); });
        }

      private:
        friend class batches;
        appender_type(const appender_type &) = delete;
        appender_type &operator=(const appender_type &) = delete;
        explicit appender_type(batches &index_) : index(index_), end(path) {}
        batches &index;
        engine::Step *end;
        engine::Step path[engine::path_capacity];
    };
    [[nodiscard]] appender_type appender() {
        expect_sound();
        return appender_type(*this);
    }

  protected:
    batches() noexcept = default;
    ~batches() = default;

  private:
    template <class, class, auto...>
    friend class batches;

    void expect_sound() const {
#ifdef ZOEAVL_CHECKED
        detail::expect_sound<base>(*this);
#endif
    }

    /* The search for a record by its own keys. */
    using own_search = decltype(ordering::search(std::declval<const decltype(ordering::values_of(
                                                     std::declval<const record_type &>())) &>()));

    static constexpr std::size_t group_size = engine::widest_group;

    /* What is sought, with all that its search refers to. It stays where it was made. */
    template <class Source, class Held>
    struct sought {
        template <class From, class Hold>
        sought(const From &from, Hold hold)
            : source(from()), held(hold(source)), search(ordering::search(held)) {}
        sought(const sought &) = delete;
        sought &operator=(const sought &) = delete;
        ~sought() = default;
        Source source;
        Held held;
        decltype(ordering::search(std::declval<const Held &>())) search;
    };
    static auto hold_key(const auto &values) {
        auto held = base::hold_bound(values);
        static_assert(std::tuple_size_v<decltype(held)> == sizeof...(keys),
                      "zoeavl: this look-up takes one value for each key");
        return held;
    }

    /* The search for one of a range's values. */
    template <class Values>
    using key_search = decltype(ordering::search(
        std::declval<const decltype(hold_key(*std::begin(std::declval<Values &>()))) &>()));

    /* Calls `act(group, count)` with the searches for the keys or records, some at a time. */
    template <class Values, class Act>
    static void with_keys(Values &values, Act act) {
        using source = decltype(*std::begin(values));
        using held = decltype(hold_key(*std::begin(values)));
        std::optional<sought<source, held>> group[group_size];
        auto value = std::begin(values);
        for (const auto last = std::end(values); value != last;) {
            std::size_t count = 0;
            for (; count < group_size && value != last; ++value, (void)count++)
                group[count].emplace([&value]() -> source { return *value; },
                                     [](const auto &key) { return hold_key(key); });
            act(group, count);
        }
    }
    template <class Next, class Act>
    static void with_records(Next next, Act act) {
        using held = decltype(ordering::values_of(std::declval<const record_type &>()));
        std::optional<sought<record_type &, held>> group[group_size];
        for (;;) {
            record_type *records[group_size];
            std::size_t count = 0;
            while (count < group_size && (records[count] = next()) != nullptr)
                __builtin_prefetch(Hook::node_of(*records[count++]), 1);
            for (std::size_t i = 0; i < count; i++) {
                ordering::prepare(*records[i]);
                group[i].emplace([&]() -> record_type & { return *records[i]; },
                                 [](const record_type &r) { return ordering::values_of(r); });
            }
            act(group, count);
            if (count < group_size)
                return;
        }
    }
    /* Gives a range's records one by one, then null. */
    static auto records_in(auto &records) {
        return [next = std::begin(records), last = std::end(records)]() mutable -> record_type * {
            if (!(next != last))
                return nullptr;
            record_type &r = record_in<record_type>(*next);
            ++next;
            return std::addressof(r);
        };
    }

    static constexpr auto search_for =
        [](const auto &one) __attribute__((always_inline)) -> const auto & {
        return one->search;
    };

    /* And its searches don't throw, so that many may go on at a time. */
    template <class Search>
    [[nodiscard]] bool is_higher_than(int height) const {
        return Search::nothrow && engine::whole(this->head()).height > height;
    }
    /* In lower trees there is nothing to wait for. */
    static constexpr int warmed_height = 14;
    /* Brings the paths to what is sought into the cache. */
    void warm(const auto &group, std::size_t count) const {
        engine::descend_in_groups(this->head(), group, count, search_for,
                                  /* A descent whose end nobody asks for isn't made at all. */
                                  [](std::size_t, ZOEAVLp end) {
                                      asm volatile("" : : "r"(end));
                                  });
    }
    bool insert_sought(const auto &one) {
        return this->inserted(one.search, [&]() -> record_type & { return one.source; }).second;
    }

    /* In lower trees steps in turn take longer than those of one search after the other, unless a
     * step is a few instructions. */
    template <class Search>
    [[nodiscard]] bool is_searched_in_groups() const {
        constexpr int lockstep_height = 13;
        if constexpr (Search::nothrow && engine::is_plain_step<own_search>)
            return true;
        return is_higher_than<Search>(lockstep_height);
    }

    template <class Record, class Values, class Out>
    Out find_each(Values &values, Out out) const {
        expect_sound();
        const ZOEAVLp root = this->head();
        const auto give = [&](ZOEAVLp node) {
            Record *const record = base::record_at(node);
            *out = record;
            ++out;
        };
        const auto find_one = [&](const auto &search) {
            const engine::Landing landing = engine::descend(root, search);
            give(landing.found ? landing.node : nullptr);
        };
        if (root != nullptr && is_searched_in_groups<key_search<Values>>())
            with_keys(values, [&](const auto &group, std::size_t count) {
                std::size_t served = engine::descend_in_groups(
                    root, group, count, search_for, [&](std::size_t i, ZOEAVLp node) {
                        give(engine::found_at(node, group[i]->search));
                    });
                for (; served < count; served++)
                    find_one(group[served]->search);
            });
        else
            for (const auto &value : values)
                if (root == nullptr) {
                    give(nullptr);
                } else {
                    const auto held = hold_key(value);
                    find_one(ordering::search(held));
                }
        return out;
    }

    /* What a sort moves: it goes by the integers of a search that has some, then by the keys. */
    struct entry {
        entry() = default;
        explicit entry(record_type &r) : record(std::addressof(r)) {
            if constexpr (engine::IntegerSearch<own_search>) {
                const auto values = ordering::values_of(r);
                number = ordering::search(values).sought_integer();
            }
        }
        bool operator<(const entry &other) const {
            if constexpr (engine::IntegerSearch<own_search>)
                if (!engine::SearchWithTies<own_search> || number != other.number)
                    return number < other.number;
            return base::is_before(*record, *other.record);
        }
        operator record_type &() const { return *record; }
        record_type *record;
        [[no_unique_address]] typename search_integer<own_search>::type number;
    };

    /* A record that is about to be the content may be in this index already. */
    void admit(record_type &r) {
        ordering::prepare(r);
        expect(
            [&] {
                return !Hook::checks_links || Hook::node_of(r)->llink == nullptr || base::holds(r);
            },
            "zoeavl: the record is in another index");
    }
    template <class First, class Last>
    void replace_by(First first, Last last, std::size_t count) {
        this->clear();
        engine::Builder builder(count);
        for_each_fetched<record_type>(first, last,
                                      [&](record_type &r) { builder.append(Hook::node_of(r)); });
        this->set_head(builder.finish());
        this->derived().counted(static_cast<std::ptrdiff_t>(count));
    }

    template <class Record, class Visit>
    void scan(engine::Side from, Visit &visit) const {
        expect_sound();
        engine::scan(engine::whole(this->head()), from, [&visit](ZOEAVLp node) {
            Record &r = *Hook::record_of(node);
            visit(r);
        });
    }
    template <class Record, class Low, class High, class Visit>
    void scan_range(const Low &low, const High &high, Visit &visit) const {
        expect_sound();
        engine::Step low_path[engine::path_capacity];
        engine::Step high_path[engine::path_capacity];
        const engine::Step *const low_end = this->path_to(base::hold_bound(low), low_path);
        const engine::Step *const high_end = this->path_to(base::hold_bound(high), high_path);
        engine::scan_between(low_path, low_end, high_path, high_end, [&visit](ZOEAVLp node) {
            Record &r = *Hook::record_of(node);
            visit(r);
        });
    }

    /* Moves one record over, unless its key is there; gives the next one of `other`. */
    iterator moved_from(index_type &other, iterator place) {
        record_type &r = *place;
        const auto values = ordering::values_of(r);
        iterator next = std::next(place);
        this->inserted(ordering::search(values), [&]() -> record_type & {
            next = other.erase(place);
            return r;
        });
        return next;
    }
    void merge_into_larger(index_type &other) {
        engine::Builder left_over;
        std::size_t left = 0;
        engine::Scanner scanner(other.taken_out(), engine::left);
        with_records([&]() -> record_type * { return base::record_at(scanner.next()); },
                     [&](auto &group, std::size_t count) {
                         warm(group, count);
                         for (std::size_t i = 0; i < count; i++)
                             if (!insert_sought(*group[i])) {
                                 left_over.append(Hook::node_of(group[i]->source));
                                 left++;
                             }
                     });
        other.adopt(left_over.finish(), left);
    }
    void merge_alike(index_type &other) {
        engine::Builder merged;
        engine::Builder left_over;
        engine::Scanner ours(this->taken_out(), engine::left);
        engine::Scanner theirs(other.taken_out(), engine::left);
        std::size_t count = 0;
        std::size_t left = 0;
        ZOEAVLp our = ours.next();
        for (ZOEAVLp their = theirs.next(); their != nullptr;) {
            Outcome outcome{false, false};
            if (our != nullptr) {
                const auto values = ordering::values_of(*Hook::record_of(their));
                outcome = detail::compared(ordering::search(values), our);
            }
            if (outcome.equal) {
                left_over.append(std::exchange(their, theirs.next()));
                left++;
                continue;
            }
            merged.append(our != nullptr && outcome.after ? std::exchange(our, ours.next())
                                                          : std::exchange(their, theirs.next()));
            count++;
        }
        for (; our != nullptr; count++)
            merged.append(std::exchange(our, ours.next()));
        this->set_head(merged.finish());
        this->derived().counted(static_cast<std::ptrdiff_t>(count));
        other.adopt(left_over.finish(), left);
    }
};

} // namespace detail
} // namespace ZOEAVL_FACE_NAMESPACE

#endif
