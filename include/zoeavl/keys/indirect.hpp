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
};

} // namespace zoe::inline v2::engine

#endif
