/* The one descent by which every operation finds its place. */
#ifndef ZOEAVL_ENGINE_DESCENT_HPP
#define ZOEAVL_ENGINE_DESCENT_HPP

#include <concepts>

#include "path.hpp"
#include "select.hpp"

namespace zoe::inline v2::engine {

/* How a sought key stands to a node's key. Truth values as int, since g++ keeps a pair of bools
 * packed in one register and takes it apart at each node. */
struct Outcome {
    int equal;
    int after; /* 0 or 1; means nothing if `equal` */
};

inline const void *key_of(const ZOEAVLNODE *node, std::ptrdiff_t offset) {
    return reinterpret_cast<const char *>(node) + offset;
}

/* Where a descent ended: at the equal node, or at the node whose thread on `side` it met. */
struct Landing {
    ZOEAVLp node;
    Side side;
    int found;
};

/* Has both values in registers before anything that follows is worked out. */
[[gnu::always_inline]] inline void pin(std::uintptr_t &one, std::uintptr_t &other) {
    asm("" : "+r"(one), "+r"(other));
}

/* What stands for a sought key and a node's key where integers decide. */
template <class Integer>
struct Integers {
    Integer sought;
    Integer key;
};

template <class Search>
concept SearchForInteger = requires(const Search &search, ZOEAVLp node) {
    { search.sought_integer() } -> SelectableInteger;
    { search.integer_of(node) } -> std::same_as<decltype(search.sought_integer())>;
};
template <class Search>
concept SearchByIntegers = requires(const Search &search, ZOEAVLp node) {
    search.integers_of(node);
};
template <class Search>
concept IntegerSearch = SearchForInteger<Search> || SearchByIntegers<Search>;
template <class Search>
concept SearchWithTies = IntegerSearch<Search> && Search::has_ties;

template <IntegerSearch Search>
[[gnu::always_inline]] inline auto integers_of(const Search &search, ZOEAVLp node) {
    if constexpr (SearchByIntegers<Search>)
        return search.integers_of(node);
    else
        return Integers<decltype(search.sought_integer())>{search.sought_integer(),
                                                           search.integer_of(node)};
}

/* Searches below `node`, the root node. A search gives:
 *
 *     compare(node) -> Outcome    the sought key against that of a node
 *     takes_long                  a comparison takes long enough to fetch both children meanwhile
 *
 * and, where integers of 32 or 64 bits decide, for the fastest form:
 *
 *     sought_integer()            on the side of the sought key
 *     integer_of(node)            of the same type, on the side of a node
 *     integers_of(node) -> Integers    or both at once, where either depends on the other's key
 *     has_ties                    if true, keys may differ though their integers are equal:
 *     tie(node) -> Outcome        then decides; else equal integers are equal keys
 *
 * Which way a search turns can't be predicted, so both links are loaded ahead of the comparison and
 * one is selected by it. They are pinned, since a compiler that selects the address of the link
 * instead waits for the comparison before it loads. With `tracked`, the nodes that the search
 * leaves are recorded from `end` on. */
template <bool tracked, class Search>
[[gnu::always_inline]] inline Landing descend_tracked(ZOEAVLp node, const Search &search,
                                                      Step *&end) {
    for (;;) {
        std::uintptr_t to_left = strip_balance(links(node)[left]);
        std::uintptr_t to_right = strip_balance(links(node)[right]);
        pin(to_left, to_right);
        if constexpr (Search::takes_long) {
            __builtin_prefetch(node_at(to_left));
            __builtin_prefetch(node_at(to_right));
        }
        if constexpr (IntegerSearch<Search>) {
            const auto [sought, key] = integers_of(search, node);
            std::uintptr_t next = to_left;
            std::uintptr_t step = Step::word_for(node, left);
            const bool equal = tracked ? Select::equal(sought, key, next, to_right, step,
                                                       Step::word_for(node, right))
                                       : Select::equal(sought, key, next, to_right);
            if (__builtin_expect(!equal, 1)) {
                if constexpr (tracked)
                    *end++ = Step(step);
                if (__builtin_expect(is_thread(next), 0))
                    return {node, sought > key ? right : left, false};
                node = node_at_plain(next);
                continue;
            }
            if constexpr (!SearchWithTies<Search>)
                return {node, left, true};
        }
        Outcome outcome;
        if constexpr (SearchWithTies<Search>)
            outcome = search.tie(node);
        else
            outcome = search.compare(node);
        if (__builtin_expect(outcome.equal, 0))
            return {node, left, true};
        const Side side = static_cast<Side>(outcome.after);
        if constexpr (tracked)
            *end++ = Step(node, side);
        const std::uintptr_t next = outcome.after ? to_right : to_left;
        if (__builtin_expect(is_thread(next), 0))
            return {node, side, false};
        node = node_at_plain(next);
    }
}

template <class Search>
[[gnu::always_inline]] inline Landing descend(ZOEAVLp head, const Search &search) {
    Step *nowhere = nullptr;
    return descend_tracked<false>(head, search, nowhere);
}

/* Records the path from `end` on and moves `end` behind its last step. */
template <class Search>
[[gnu::always_inline]] inline Landing descend(ZOEAVLp head, const Search &search, Step *&end) {
    return descend_tracked<true>(head, search, end);
}

/* The search of an operation on a ZOEAVL_ROOT. A key type gives:
 *
 *     Sought                         the sought key as it is held during the descent
 *     load(key, length) -> Sought    runs once, after the tree was seen not to be empty; `length`
 *                                    reads the root's `keylen` when it is converted to a number
 *     compare(Sought, key) -> Outcome    sought key against the key field of a node
 *     takes_long                     as above
 *
 * and may give what else a search may, with `Sought` as first argument and the key field in place
 * of the node. */
template <class Key>
concept KeyOfInteger = requires(const typename Key::Sought &sought, const void *key) {
    Key::sought_integer(sought);
    Key::integer_of(key);
};
template <class Key>
concept KeyByIntegers = requires(const typename Key::Sought &sought, const void *key) {
    Key::integers_of(sought, key);
};
template <class Key>
concept KeyWithTies = requires {
    requires Key::has_ties;
};

template <class Key>
struct KeySearch {
    static constexpr bool takes_long = Key::takes_long;
    [[gnu::always_inline]] Outcome compare(ZOEAVLp node) const {
        return Key::compare(sought, key_of(node, offset));
    }

    [[gnu::always_inline]] auto sought_integer() const requires KeyOfInteger<Key> {
        return Key::sought_integer(sought);
    }
    [[gnu::always_inline]] auto integer_of(ZOEAVLp node) const requires KeyOfInteger<Key> {
        return Key::integer_of(key_of(node, offset));
    }
    [[gnu::always_inline]] auto integers_of(ZOEAVLp node) const requires KeyByIntegers<Key> {
        return Key::integers_of(sought, key_of(node, offset));
    }
    static constexpr bool has_ties = KeyWithTies<Key>;
    [[gnu::always_inline]] Outcome tie(ZOEAVLp node) const requires has_ties {
        return Key::tie(sought, key_of(node, offset));
    }

    typename Key::Sought sought;
    std::ptrdiff_t offset;
};

struct LengthOfRoot {
    const ZOEAVL_ROOT *root;
    operator std::ptrdiff_t() const { return root->keylen; } // NOLINT: stands for the number
};

/* The sought key is read before any node is. */
template <class Key>
[[gnu::always_inline]] inline KeySearch<Key> search_for(const void *key, const ZOEAVL_ROOT *root,
                                                        std::ptrdiff_t offset) {
    const KeySearch<Key> search{Key::load(key, LengthOfRoot{root}), offset};
    asm volatile("" : : : "memory");
    return search;
}

} // namespace zoe::inline v2::engine

#endif
