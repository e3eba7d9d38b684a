/* Integer keys: one value, or an array of `keylen` values in lexicographic order. */
#ifndef ZOEAVL_KEYS_INTEGERS_HPP
#define ZOEAVL_KEYS_INTEGERS_HPP

#include "outcome.hpp"

namespace zoe::inline v2::engine {

template <class Integer>
struct Scalar {
    static constexpr bool takes_long = false;
    using Sought = Integer;
    template <class Length>
    [[gnu::always_inline]] static Sought load(const void *key, Length) {
        return read<Integer>(key);
    }
    [[gnu::always_inline]] static Outcome compare(Sought sought, const void *key) {
        return order(sought, read<Integer>(key));
    }
    [[gnu::always_inline]] static Integer sought_integer(Sought sought) { return sought; }
    [[gnu::always_inline]] static Integer integer_of(const void *key) { return read<Integer>(key); }
};

template <class Integer>
struct Array {
    static constexpr bool takes_long = false;
    struct Sought {
        const char *elements;
        std::ptrdiff_t count; /* all keys are equal if it is negative */
    };
    template <class Length>
    [[gnu::always_inline]] static Sought load(const void *key, Length length) {
        return {static_cast<const char *>(key), length};
    }
    [[gnu::always_inline]] static Outcome compare(const Sought &sought, const void *key) {
        return compare_from(0, sought, key);
    }

    /* The first elements decide unless they are equal, or there are none. */
    static constexpr bool has_ties = true;
    [[gnu::always_inline]] static Integers<Integer> integers_of(const Sought &sought,
                                                                const void *key) {
        if (sought.count <= 0)
            return {0, 0};
        return {read<Integer>(read_anew(sought.elements)), read<Integer>(key)};
    }
    [[gnu::always_inline]] static Outcome tie(const Sought &sought, const void *key) {
        return compare_from(1, sought, key);
    }

  private:
    [[gnu::always_inline]] static Outcome compare_from(std::ptrdiff_t first, const Sought &sought,
                                                       const void *key) {
        const char *const elements = static_cast<const char *>(key);
        for (std::ptrdiff_t i = first; i < sought.count; i++) {
            const auto at = i * static_cast<std::ptrdiff_t>(sizeof(Integer));
            const Outcome outcome =
                order(read<Integer>(sought.elements + at), read<Integer>(elements + at));
            if (!outcome.equal)
                return outcome;
        }
        return {true, false};
    }
};

} // namespace zoe::inline v2::engine

#endif
