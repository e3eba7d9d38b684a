/* Fixed-length character keys: bytes, unsigned, and 32-bit characters, signed. */
#ifndef ZOEAVL_KEYS_CHARACTERS_HPP
#define ZOEAVL_KEYS_CHARACTERS_HPP

#include <bit>
#include <cwchar>
#include <type_traits>

#include "outcome.hpp"

namespace zoe::inline v2::engine {

struct ByteString {
    using Unit = unsigned char;
    [[gnu::always_inline]] static int compare(const void *a, const void *b, std::size_t length) {
        return std::memcmp(a, b, length);
    }
};

struct WideString {
    using Unit = zochar;
    [[gnu::always_inline]] static int compare(const void *a, const void *b, std::size_t length) {
        if constexpr (std::is_signed_v<wchar_t>)
            return std::wmemcmp(static_cast<const wchar_t *>(a), static_cast<const wchar_t *>(b),
                                length);
        return first_difference(a, b, length);
    }

  private:
    /* Where the system's characters are unsigned, its comparison has another order. */
    static int first_difference(const void *a, const void *b, std::size_t length) {
        for (std::size_t i = 0; i < length * sizeof(std::int32_t); i += sizeof(std::int32_t)) {
            const auto unit_of_a = read<std::int32_t>(static_cast<const char *>(a) + i);
            const auto unit_of_b = read<std::int32_t>(static_cast<const char *>(b) + i);
            if (unit_of_a != unit_of_b)
                return unit_of_a < unit_of_b ? -1 : 1;
        }
        return 0;
    }
};
static_assert(sizeof(wchar_t) == sizeof(zochar));

/* The first eight of `length` bytes as a number that orders as they do, filled up with zeros; there
 * are at least four. The last four that count may be read twice over. */
[[gnu::always_inline]] inline std::uint64_t prefix_of(const char *bytes, std::size_t length) {
    static_assert(std::endian::native == std::endian::little);
    const std::size_t counted = length < 8 ? length : 8;
    const std::uint32_t high = __builtin_bswap32(read<std::uint32_t>(bytes));
    const std::uint64_t low = __builtin_bswap32(read<std::uint32_t>(bytes + counted - 4));
    return std::uint64_t{high} << 32 | static_cast<std::uint32_t>(low << (8 * (8 - counted)));
}

template <class String>
struct FixedCharacters {
    static constexpr bool takes_long = true;
    struct Sought {
        const void *chars;
        std::ptrdiff_t length;
    };
    template <class Length>
    [[gnu::always_inline]] static Sought load(const void *key, Length length) {
        return {key, length};
    }
    [[gnu::always_inline]] static Outcome compare(const Sought &sought, const void *key) {
        if (__builtin_expect(sought.length < 0, 0))
            return compare_without_end(sought.chars, key);
        return order(String::compare(sought.chars, key, static_cast<std::size_t>(sought.length)),
                     0);
    }

    /* Eight bytes decide unless they are equal, or the key is shorter. */
    static constexpr bool has_ties = true;
    [[gnu::always_inline]] static Integers<std::uint64_t>
    integers_of(const Sought &sought, const void *key) requires std::same_as<String, ByteString> {
        if (sought.length < 8)
            return {0, 0};
        return {__builtin_bswap64(read<std::uint64_t>(read_anew(sought.chars))),
                __builtin_bswap64(read<std::uint64_t>(key))};
    }
    [[gnu::always_inline]] static Outcome tie(const Sought &sought, const void *key) {
        return compare(sought, key);
    }

  private:
    /* To the first difference, wherever it is; nothing behind it is read. */
    [[gnu::noinline, gnu::cold]] static Outcome compare_without_end(const void *sought,
                                                                    const void *key) {
        using Unit = typename String::Unit;
        for (std::ptrdiff_t at = 0;; at += static_cast<std::ptrdiff_t>(sizeof(Unit))) {
            const Outcome outcome = order(read<Unit>(static_cast<const char *>(sought) + at),
                                          read<Unit>(static_cast<const char *>(key) + at));
            if (!outcome.equal)
                return outcome;
        }
    }
};

} // namespace zoe::inline v2::engine

#endif
