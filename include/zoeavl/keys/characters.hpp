/* Fixed-length character keys: bytes, unsigned, and 32-bit characters, signed as wmemcmp has it. */
#ifndef ZOEAVL_KEYS_CHARACTERS_HPP
#define ZOEAVL_KEYS_CHARACTERS_HPP

#include <cwchar>

#include "outcome.hpp"

namespace zoe::inline v2::engine {

struct ByteString {
    [[gnu::always_inline]] static int compare(const void *a, const void *b, std::size_t length) {
        return std::memcmp(a, b, length);
    }
};

struct WideString {
    [[gnu::always_inline]] static int compare(const void *a, const void *b, std::size_t length) {
        return std::wmemcmp(static_cast<const wchar_t *>(a), static_cast<const wchar_t *>(b),
                            length);
    }
};
static_assert(sizeof(wchar_t) == sizeof(zochar));

template <class String>
struct FixedCharacters {
    static constexpr bool takes_long = true;
    struct Sought {
        const void *chars;
        std::size_t length;
    };
    template <class Length>
    [[gnu::always_inline]] static Sought load(const void *key, Length length) {
        return {key, static_cast<std::size_t>(std::ptrdiff_t{length})};
    }
    [[gnu::always_inline]] static Outcome compare(const Sought &sought, const void *key) {
        return order(String::compare(sought.chars, key, sought.length), 0);
    }
};

} // namespace zoe::inline v2::engine

#endif
