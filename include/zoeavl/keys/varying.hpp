/* Varying-length character keys: the node holds a pointer to the characters and their number. */
#ifndef ZOEAVL_KEYS_VARYING_HPP
#define ZOEAVL_KEYS_VARYING_HPP

#include "characters.hpp"

namespace zoe::inline v2::engine {

template <class String>
struct VaryingCharacters {
    static constexpr bool takes_long = true;
    struct Sought {
        const void *record;
        std::uint32_t length;
    };
    template <class Length>
    [[gnu::always_inline]] static Sought load(const void *key, Length) {
        return {key, length_of(key)};
    }

    /* The common prefix decides, then the length. No character is read where one key is empty. */
    [[gnu::always_inline]] static Outcome compare(const Sought &sought, const void *key) {
        const std::uint32_t length = length_of(key);
        const std::uint32_t common = sought.length < length ? sought.length : length;
        if (common != 0) {
            const int prefix =
                String::compare(chars_of(read_anew(sought.record)), chars_of(key), common);
            if (prefix != 0)
                return order(prefix, 0);
        }
        return order(sought.length, length);
    }

    /* The first characters decide unless they are equal, or too few of either key. */
    static constexpr bool has_ties = true;
    [[gnu::always_inline]] static auto integers_of(const Sought &sought, const void *key) {
        using Both = Integers<decltype(String::prefix_of(key, 0))>;
        const std::uint32_t length = length_of(key);
        if (sought.length < String::prefix_units || length < String::prefix_units)
            return Both{0, 0};
        return Both{String::prefix_of(chars_of(read_anew(sought.record)), sought.length),
                    String::prefix_of(chars_of(key), length)};
    }
    [[gnu::always_inline]] static Outcome tie(const Sought &sought, const void *key) {
        return compare(sought, key);
    }

  private:
    static const void *chars_of(const void *record) {
        return read<const void *>(static_cast<const char *>(record) +
                                  offsetof(ZOEAVLVaryingKey, chars));
    }
    static std::uint32_t length_of(const void *record) {
        return read<std::uint32_t>(static_cast<const char *>(record) +
                                   offsetof(ZOEAVLVaryingKey, length));
    }
};

} // namespace zoe::inline v2::engine

#endif
