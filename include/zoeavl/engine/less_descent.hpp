/* The descent where all there is to compare by is less-than: one call a level. */
#ifndef ZOEAVL_ENGINE_LESS_DESCENT_HPP
#define ZOEAVL_ENGINE_LESS_DESCENT_HPP

#include <concepts>

#include "descent.hpp"

namespace zoe::inline v2::engine {

/* A search that gives, instead of `compare`:
 *
 *     is_above(node)    true if the node's key sorts before the sought one
 *     is_below(node)    true if the sought key sorts before the node's */
template <class Search>
concept LessSearch = requires(const Search &search, ZOEAVLp node) {
    { search.is_above(node) } -> std::convertible_to<bool>;
    { search.is_below(node) } -> std::convertible_to<bool>;
};

/* The search as one that never meets an equal node: it ends beside the first node that isn't below
 * the sought key (`equal_goes` left) or that is above it (right). */
template <class Search, Side equal_goes>
struct BoundSearch {
    static constexpr bool takes_long = Search::takes_long;
    [[gnu::always_inline]] Outcome compare(ZOEAVLp node) const {
        if constexpr (LessSearch<Search>) {
            return {false, equal_goes == left ? search.is_above(node) : !search.is_below(node)};
        } else {
            const Outcome outcome = search.compare(node);
            return {false, outcome.equal ? equal_goes == right : outcome.after};
        }
    }
    const Search &search;
};

/* The node after the place where a descent that found nothing ended; null at the end of the order.
 */
inline ZOEAVLp node_after(const Landing &landing) {
    return landing.side == left ? landing.node : node_at(links(landing.node)[right]);
}

template <Side equal_goes, class Search>
[[gnu::always_inline]] inline ZOEAVLp bound(ZOEAVLp head, const Search &search) {
    return head == nullptr ? nullptr
                           : node_after(descend(head, BoundSearch<Search, equal_goes>{search}));
}

/* The equal node, if there is one, is the one behind the end of a descent that passes it by. */
template <LessSearch Search>
[[gnu::always_inline]] inline Landing settled(Landing landing, const Search &search) {
    const ZOEAVLp candidate = node_after(landing);
    return candidate != nullptr && !search.is_below(candidate) ? Landing{candidate, left, true}
                                                               : landing;
}

template <LessSearch Search>
[[gnu::always_inline]] inline Landing descend(ZOEAVLp head, const Search &search) {
    return settled(descend(head, BoundSearch<Search, left>{search}), search);
}

template <LessSearch Search>
[[gnu::always_inline]] inline Landing descend(ZOEAVLp head, const Search &search, Step *&end) {
    const Landing landing = settled(descend(head, BoundSearch<Search, left>{search}, end), search);
    if (landing.found)
        while ((--end)->node() != landing.node) {
        }
    return landing;
}

} // namespace zoe::inline v2::engine

#endif
