/* Integer keys: one value, or an array of `keylen` values in lexicographic order. */
#ifndef ZOEAVL_KEYS_INTEGERS_H
#define ZOEAVL_KEYS_INTEGERS_H

#include "outcome.h"

namespace avl {

template <class Integer>
struct Scalar {
    static constexpr bool takes_long = false;
    using Sought = Integer;
    [[gnu::always_inline]] static Sought load(const void *key, const ZOEAVL_ROOT *) {
        return read<Integer>(key);
    }
    [[gnu::always_inline]] static Outcome compare(Sought sought, const void *key) {
        return order(sought, read<Integer>(key));
    }
};

template <class Integer>
struct Array {
    static constexpr bool takes_long = false;
    struct Sought {
        const char *elements;
        std::ptrdiff_t count; /* all keys are equal if it is negative */
    };
    [[gnu::always_inline]] static Sought load(const void *key, const ZOEAVL_ROOT *root) {
        return {static_cast<const char *>(key), root->keylen};
    }
    [[gnu::always_inline]] static Outcome compare(const Sought &sought, const void *key) {
        const char *const elements = static_cast<const char *>(key);
        for (std::ptrdiff_t i = 0; i < sought.count; i++) {
            const auto at = i * static_cast<std::ptrdiff_t>(sizeof(Integer));
            const Outcome outcome =
                order(read<Integer>(sought.elements + at), read<Integer>(elements + at));
            if (!outcome.equal)
                return outcome;
        }
        return {true, false};
    }
};

} // namespace avl

#endif
