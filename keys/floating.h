/* Double keys: without regard for NaN, and with every NaN read as a missing value. */
#ifndef ZOEAVL_KEYS_FLOATING_H
#define ZOEAVL_KEYS_FLOATING_H

#include "outcome.h"

namespace avl {

/* A NaN compares equal to everything: neither test holds. */
struct Double {
    static constexpr bool takes_long = false;
    using Sought = double;
    [[gnu::always_inline]] static Sought load(const void *key, const ZOEAVL_ROOT *) {
        return read<double>(key);
    }
    [[gnu::always_inline]] static Outcome compare(Sought sought, const void *key) {
        const double value = read<double>(key);
        return {!__builtin_islessgreater(sought, value), sought > value};
    }
};

/* A total order: missing values by their code, then the numbers. */
struct MissingDouble {
    static constexpr bool takes_long = false;
    struct Sought {
        double value;
        unsigned missing_code; /* 0 for a number */
    };
    [[gnu::always_inline]] static Sought load(const void *key, const ZOEAVL_ROOT *) {
        const double value = read<double>(key);
        return {value, is_missing(value) ? missing_code(key) : 0};
    }
    [[gnu::always_inline]] static Outcome compare(const Sought &sought, const void *key) {
        const double value = read<double>(key);
        if (sought.missing_code == 0) // a missing `value` is not above, hence `sought` after it
            return {!__builtin_islessgreater(sought.value, value) && !is_missing(value),
                    !(value > sought.value)};
        if (!is_missing(value))
            return {false, false};
        return order(sought.missing_code, missing_code(key));
    }

    /* The code is the negation of byte 5 of the stored value; what is out of range counts as 2. */
    static constexpr unsigned code_of_byte(std::uint8_t byte) {
        const unsigned code = (256U - byte) % 256U;
        return code >= 1 && code <= 28 ? code : 2;
    }

  private:
    static bool is_missing(double value) {
        return value != value;
    } // NOLINT(misc-redundant-expression)
    static unsigned missing_code(const void *key) {
        return code_of_byte(read<std::uint8_t>(static_cast<const char *>(key) + 5));
    }
};
static_assert(MissingDouble::code_of_byte(0xFF) == 1 && MissingDouble::code_of_byte(0xE4) == 28);
static_assert(MissingDouble::code_of_byte(0xE3) == 2 && MissingDouble::code_of_byte(0x00) == 2);

} // namespace avl

#endif
