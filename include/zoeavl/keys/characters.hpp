/* Fixed-length character keys: bytes, unsigned, and 32-bit characters, signed. */
#ifndef ZOEAVL_KEYS_CHARACTERS_HPP
#define ZOEAVL_KEYS_CHARACTERS_HPP

#include <bit>
#include <cwchar>
#include <type_traits>

#include "outcome.hpp"

namespace zoe::inline v2::engine {

static_assert(std::endian::native == std::endian::little);

/* A kind of characters gives `compare` for any number of them, and integers that order as the first
 * characters do: `first` of `first_units`, and `prefix_of` `prefix_units` or more. */
struct ByteString {
    using Unit = unsigned char;
    [[gnu::always_inline]] static int compare(const void *a, const void *b, std::size_t length) {
        return std::memcmp(a, b, length);
    }

    static constexpr std::ptrdiff_t first_units = 8;
    [[gnu::always_inline]] static std::uint64_t first(const void *chars) {
        return __builtin_bswap64(read<std::uint64_t>(chars));
    }
    /* Eight bytes, or four to seven with zeros behind them, some of which are read twice then. */
    static constexpr std::size_t prefix_units = 4;
    [[gnu::always_inline]] static std::uint64_t prefix_of(const void *chars, std::size_t length) {
        const std::size_t counted = length < 8 ? length : 8;
        const char *const low_half = static_cast<const char *>(chars) + counted - 4;
        const std::uint32_t high = __builtin_bswap32(read<std::uint32_t>(chars));
        const std::uint64_t low = __builtin_bswap32(read<std::uint32_t>(low_half));
        return std::uint64_t{high} << 32 | static_cast<std::uint32_t>(low << (8 * (8 - counted)));
    }
};

struct WideString {
    using Unit = std::int32_t;
    [[gnu::always_inline]] static int compare(const void *a, const void *b, std::size_t length) {
        if constexpr (std::is_signed_v<wchar_t>)
            return std::wmemcmp(static_cast<const wchar_t *>(a), static_cast<const wchar_t *>(b),
                                length);
        return first_difference(a, b, length);
    }

    /* The second of two characters is biased, since only the first keeps its sign. */
    static constexpr std::ptrdiff_t first_units = 2;
    [[gnu::always_inline]] static std::int64_t first(const void *chars) {
        return static_cast<std::int64_t>(std::rotl(read<std::uint64_t>(chars), 32) ^ 0x80000000U);
    }
    static constexpr std::size_t prefix_units = 2;
    [[gnu::always_inline]] static std::int64_t prefix_of(const void *chars, std::size_t) {
        return first(chars);
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

    /* The first characters decide unless they are equal, or too few. */
    static constexpr bool has_ties = true;
    [[gnu::always_inline]] static auto integers_of(const Sought &sought, const void *key) {
        using Both = Integers<decltype(String::first(key))>;
        if (sought.length < String::first_units)
            return Both{0, 0};
        return Both{String::first(read_anew(sought.chars)), String::first(key)};
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
