/* Fixed-length character keys: bytes, unsigned, and 32-bit characters, signed as wmemcmp has it. */
#ifndef ZOEAVL_KEYS_CHARACTERS_H
#define ZOEAVL_KEYS_CHARACTERS_H

#include <cwchar>

#include "outcome.h"

namespace avl {

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
    [[gnu::always_inline]] static Sought load(const void *key, const ZOEAVL_ROOT *root) {
        return {key, static_cast<std::size_t>(root->keylen)};
    }
    [[gnu::always_inline]] static Outcome compare(const Sought &sought, const void *key) {
        return order(String::compare(sought.chars, key, sought.length), 0);
    }
};

} // namespace avl

#endif
