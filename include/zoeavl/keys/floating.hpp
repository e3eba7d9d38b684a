/* Double keys: without regard for NaN, and with every NaN read as a missing value. */
#ifndef ZOEAVL_KEYS_FLOATING_HPP
#define ZOEAVL_KEYS_FLOATING_HPP

#include "outcome.hpp"

namespace zoe::inline v2::engine {

/* A double that is sought, made ready for tests on bits, since flags come late from a comparison of
 * doubles and every level waits for them. Bits order as signed integers do when the sought number
 * is positive; when it is negative, they do so once all but the sign were flipped on both sides. */
struct SoughtDouble {
    static constexpr std::int64_t all_but_sign = INT64_MAX;
    static constexpr std::int64_t infinity = 0x7FF0000000000000;
    static constexpr bool is_nan(std::int64_t bits) { return (bits & all_but_sign) > infinity; }

    explicit SoughtDouble(std::int64_t bits_)
        : bits(bits_), flip(bits < 0 ? all_but_sign : 0),
          significant((bits & all_but_sign) == 0 ? all_but_sign : -1),
          comparable(significant != -1 || is_nan(bits) ? -1 : infinity) {}
    [[nodiscard]] bool equals(std::int64_t other) const {
        return ((bits ^ other) & significant) == 0;
    }
    [[nodiscard]] bool is_above(std::int64_t other) const { return (other ^ flip) < (bits ^ flip); }

    /* Integers that order as the numbers do; equal ones where zeros and what is no number need a
     * closer look. */
    [[nodiscard]] Integers<std::int64_t> integers_with(std::int64_t other) const {
        if (__builtin_expect((other & all_but_sign) > comparable, 0))
            return {0, 0};
        return {bits ^ flip, other ^ flip};
    }

    std::int64_t bits;
    std::int64_t flip;
    std::int64_t significant; /* the sign of a zero isn't */
    std::int64_t comparable;  /* the greatest magnitude that bits alone compare with */
};

/* A NaN compares equal to everything: neither test, above nor below, holds. */
struct Double {
    static constexpr bool takes_long = false;
    using Sought = SoughtDouble;
    template <class Length>
    [[gnu::always_inline]] static Sought load(const void *key, Length) {
        SoughtDouble sought(read<std::int64_t>(key));
        if (SoughtDouble::is_nan(sought.bits))
            sought.significant = 0;
        return sought;
    }
    [[gnu::always_inline]] static Outcome compare(const Sought &sought, const void *key) {
        const auto bits = read<std::int64_t>(key);
        return {sought.equals(bits) || SoughtDouble::is_nan(bits), sought.is_above(bits)};
    }
};

/* A total order: missing values by their code, then the numbers. */
struct MissingDouble {
    static constexpr bool takes_long = false;
    static constexpr unsigned last_code = 28;
    static constexpr unsigned default_code = 2;
    static constexpr unsigned number = last_code + 1;

    struct Sought {
        SoughtDouble value; /* a missing one equals no number and is above none */
        unsigned rank;      /* the missing code, or `number` */
    };
    template <class Length>
    [[gnu::always_inline]] static Sought load(const void *key, Length) {
        SoughtDouble value(read<std::int64_t>(key));
        if (!SoughtDouble::is_nan(value.bits))
            return {value, number};
        value.flip = value.bits ^ INT64_MIN;
        return {value, missing_code(value.bits)};
    }
    [[gnu::always_inline]] static Outcome compare(const Sought &sought, const void *key) {
        const auto bits = read<std::int64_t>(key);
        if (__builtin_expect(SoughtDouble::is_nan(bits), 0))
            return order(sought.rank, missing_code(bits));
        return {sought.value.equals(bits), sought.value.is_above(bits)};
    }

    static constexpr bool has_ties = true;
    [[gnu::always_inline]] static Integers<std::int64_t> integers_of(const Sought &sought,
                                                                     const void *key) {
        return sought.value.integers_with(read<std::int64_t>(key));
    }
    [[gnu::always_inline]] static Outcome tie(const Sought &sought, const void *key) {
        return compare(sought, key);
    }

    /* The code is the negation of byte 5 of the stored value, if there is such a code. */
    static constexpr unsigned code_of_byte(std::uint8_t byte) {
        const unsigned code = (256U - byte) % 256U;
        return code >= 1 && code <= last_code ? code : default_code;
    }

  private:
    static unsigned missing_code(std::int64_t nan) {
        return code_of_byte(static_cast<std::uint8_t>(nan >> 40));
    }
};
static_assert(MissingDouble::code_of_byte(0xFF) == 1 && MissingDouble::code_of_byte(0xE4) == 28);
static_assert(MissingDouble::code_of_byte(0xE3) == 2 && MissingDouble::code_of_byte(0x00) == 2);

} // namespace zoe::inline v2::engine

#endif
