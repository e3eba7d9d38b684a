/* Many descents in lockstep: while one waits for memory, the others go on. */
#ifndef ZOEAVL_ENGINE_LOCKSTEP_HPP
#define ZOEAVL_ENGINE_LOCKSTEP_HPP

#include <iterator>
#include <type_traits>
#include <utility>

#include "less_descent.hpp"

namespace zoe::inline v2::engine {

/* A search whose comparison reads far from the node; `fetch(node)` asks for what it will read. */
template <class Search>
concept FetchesAhead = requires(const Search &search, ZOEAVLp node) {
    search.fetch(node);
};

/* A step is a few instructions. */
template <class Search>
inline constexpr bool is_plain_step =
    IntegerSearch<Search> && !SearchWithTies<Search> && !FetchesAhead<Search>;

inline constexpr std::size_t widest_group = 32;

/* Moves `at` along `next` unless that is a thread, and never by a branch: which search ends first
 * can't be predicted. */
[[gnu::always_inline]] inline void move_unless_thread(std::uintptr_t &at, std::uintptr_t next) {
#ifdef ZOEAVL_PORTABLE_SELECT
    std::uintptr_t moves = ((next & thread_bit) >> 1) - 1;
    asm("" : "+r"(moves)); /* a mask that is known to be one becomes a branch */
    at ^= (at ^ next) & moves;
#else
    asm("test\t{%b[thread], %b[next]|%b[next], %b[thread]}\n\tcmovz\t{%[next], %[at]|%[at], "
        "%[next]}"
        : [at] "+r"(at)
        : [next] "r"(next), [thread] "i"(thread_bit)
        : "cc");
#endif
}

/* Truth value: the sought key is the node's or above it. */
template <class Search>
[[gnu::always_inline]] inline int reaches(const Search &search, ZOEAVLp node) {
    if constexpr (LessSearch<Search>) {
        return !search.is_below(node);
    } else if constexpr (IntegerSearch<Search>) {
        const auto sought = search.sought_integer();
        const auto key = search.integer_of(node);
        if constexpr (SearchWithTies<Search>)
            if (__builtin_expect(sought == key, 0)) {
                const Outcome outcome = search.tie(node);
                return outcome.equal | outcome.after;
            }
        return sought >= key;
    } else {
        const Outcome outcome = search.compare(node);
        return outcome.equal | outcome.after;
    }
}

/* Searches below `head`, the root node, for as many keys as `at` has places, and gives for each the
 * node whose thread ends the search. An equal node is passed on its right, so that all searches are
 * alike. All take a step in every round; one that met its thread steps on the spot.
 *
 * `search(sought[i])` is the search for a key. Where a step is a few instructions, the round is
 * unrolled here, since compilers do so only if they are asked in words of their own. */
template <std::size_t width, class Sought, class SearchFor>
[[gnu::always_inline]] inline void descend_together(ZOEAVLp head, const Sought *sought,
                                                    const SearchFor &search,
                                                    std::uintptr_t (&at)[width]) {
    using Search = std::remove_cvref_t<decltype(search(*sought))>;
    std::uintptr_t all_met_threads = 0;
    const auto step = [&](std::size_t i) __attribute__((always_inline)) {
        const ZOEAVLp node = node_at_plain(at[i]);
        const std::uintptr_t next = strip_balance(links(node)[reaches(search(sought[i]), node)]);
        all_met_threads &= next;
        move_unless_thread(at[i], next);
        __builtin_prefetch(node_at_plain(at[i]));
        /* Held in memory: more places than registers are spilled with more ado. */
        asm("" : "+m"(at[i]));
    };
    const auto round = [&]<std::size_t... i>(std::index_sequence<i...>)
        __attribute__((always_inline)) {
        if constexpr (is_plain_step<Search>)
            (step(i), ...);
        else
            for (std::size_t each = 0; each < width; each++)
                step(each);
    };
    for (std::uintptr_t &place : at)
        place = word_of(head);
    while (all_met_threads == 0) {
        if constexpr (FetchesAhead<Search>)
            for (std::size_t i = 0; i < width; i++)
                search(sought[i]).fetch(node_at_plain(at[i]));
        all_met_threads = thread_bit;
        round(std::make_index_sequence<width>{});
    }
}

/* As above for `count` keys, in groups: calls `ended(i, node)` for each that was served, and gives
 * their number. The last few, too few for a group, are left. */
template <class Sought, class SearchFor, class Ended>
[[gnu::always_inline]] inline std::size_t
descend_in_groups(ZOEAVLp head, const Sought *sought, std::size_t count, const SearchFor &search,
                  const Ended &ended) {
    std::size_t served = 0;
    const auto serve = [&](auto &at) __attribute__((always_inline)) {
        for (; count - served >= std::size(at); served += std::size(at)) {
            descend_together(head, sought + served, search, at);
            for (std::size_t i = 0; i < std::size(at); i++)
                ended(served + i, node_at_plain(at[i]));
        }
    };
    std::uintptr_t wide[widest_group];
    std::uintptr_t narrow[widest_group / 4];
    serve(wide);
    serve(narrow);
    return served;
}

/* Truth value, of a node that the search reaches. */
template <class Search>
[[gnu::always_inline]] inline bool is_equal(const Search &search, ZOEAVLp node) {
    if constexpr (LessSearch<Search>)
        return !search.is_above(node);
    else
        return search.compare(node).equal;
}

/* What a search found that ended at `node`: the equal node on its path, or null. Whether it is the
 * end itself or the node ahead of it can't be predicted, so it is selected. */
template <class Search>
[[gnu::always_inline]] inline ZOEAVLp found_at(ZOEAVLp node, const Search &search) {
    const ZOEAVLp ahead = node_at(links(node)[left]);
    const std::uintptr_t candidates[] = {word_of(ahead != nullptr ? ahead : node), word_of(node)};
    const int reached = reaches(search, node);
    const ZOEAVLp floor = node_at_plain(candidates[reached]);
    const bool is_below_all = (ahead == nullptr) & (reached == 0);
    return is_equal(search, floor) && !is_below_all ? floor : nullptr;
}

} // namespace zoe::inline v2::engine

#endif
