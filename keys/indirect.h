/* Indirect keys: a direct form behind one pointer, on both sides of the comparison. */
#ifndef ZOEAVL_KEYS_INDIRECT_H
#define ZOEAVL_KEYS_INDIRECT_H

#include "outcome.h"

namespace avl {

template <class Direct>
struct Indirect {
    static constexpr bool takes_long = true;
    using Sought = typename Direct::Sought;
    [[gnu::always_inline]] static Sought load(const void *key, const ZOEAVL_ROOT *root) {
        return Direct::load(read<const void *>(key), root);
    }
    [[gnu::always_inline]] static Outcome compare(const Sought &sought, const void *key) {
        return Direct::compare(sought, read<const void *>(key));
    }
};

} // namespace avl

#endif
