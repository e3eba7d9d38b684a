/* What the key types share: reading a value at any alignment, and ordering two integers. */
#ifndef ZOEAVL_KEYS_OUTCOME_HPP
#define ZOEAVL_KEYS_OUTCOME_HPP

#include <cstring>

#include "../engine/descent.hpp"

namespace zoe::inline v2::engine {

template <class Value>
inline Value read(const void *at) {
    Value value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

/* The same address, from which a compiler won't reuse what it read earlier or elsewhere. */
[[gnu::always_inline]] inline const void *read_anew(const void *at) {
    asm volatile("" : "+r"(at));
    return at;
}

template <class Integer>
[[gnu::always_inline]] constexpr Outcome order(Integer sought, Integer key) {
    return {sought == key, sought > key};
}

} // namespace zoe::inline v2::engine

#endif
