/* Indirect keys: a direct form behind one pointer, on both sides of the comparison. */
#ifndef ZOEAVL_KEYS_INDIRECT_HPP
#define ZOEAVL_KEYS_INDIRECT_HPP

#include "outcome.hpp"

namespace zoe::inline v2::engine {

template <class Direct>
struct Indirect {
    static constexpr bool takes_long = true;
    using Sought = typename Direct::Sought;
    template <class Length>
    [[gnu::always_inline]] static Sought load(const void *key, Length length) {
        return Direct::load(read<const void *>(key), length);
    }
    [[gnu::always_inline]] static Outcome compare(const Sought &sought, const void *key) {
        return Direct::compare(sought, read<const void *>(key));
    }

    [[gnu::always_inline]] static auto
    sought_integer(const Sought &sought) requires KeyOfInteger<Direct> {
        return Direct::sought_integer(sought);
    }
    [[gnu::always_inline]] static auto integer_of(const void *key) requires KeyOfInteger<Direct> {
        return Direct::integer_of(read<const void *>(key));
    }
    [[gnu::always_inline]] static auto integers_of(const Sought &sought,
                                                   const void *key) requires KeyByIntegers<Direct> {
        return Direct::integers_of(sought, read<const void *>(key));
    }
    static constexpr bool has_ties = KeyWithTies<Direct>;
    [[gnu::always_inline]] static Outcome tie(const Sought &sought,
                                              const void *key) requires has_ties {
        return Direct::tie(sought, read<const void *>(key));
    }
};

} // namespace zoe::inline v2::engine

#endif
