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

template <class Integer>
[[gnu::always_inline]] constexpr Outcome order(Integer sought, Integer key) {
    return {sought == key, sought > key};
}

} // namespace zoe::inline v2::engine

#endif
