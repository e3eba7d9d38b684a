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

    [[gnu::always_inline]] static auto sought_integer(const Sought &sought) requires requires {
        Direct::sought_integer(sought);
    }
    { return Direct::sought_integer(sought); }
    [[gnu::always_inline]] static auto integer_of(const void *key) requires requires {
        Direct::integer_of(key);
    }
    { return Direct::integer_of(read<const void *>(key)); }
    static constexpr bool has_ties = requires { requires Direct::has_ties; };
    [[gnu::always_inline]] static Outcome tie(const Sought &sought,
                                              const void *key) requires has_ties {
        return Direct::tie(sought, read<const void *>(key));
    }
    [[gnu::always_inline]] static bool equals_all(const Sought &sought) requires requires {
        Direct::equals_all(sought);
    }
    { return Direct::equals_all(sought); }
};

} // namespace zoe::inline v2::engine

#endif
