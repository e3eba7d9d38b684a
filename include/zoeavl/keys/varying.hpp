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

    /* Eight bytes decide, of shorter keys with zeros behind them, unless they are equal or one key
     * is very short. */
    static constexpr bool has_ties = true;
    [[gnu::always_inline]] static Integers<std::uint64_t>
    integers_of(const Sought &sought, const void *key) requires std::same_as<String, ByteString> {
        const std::uint32_t length = length_of(key);
        if (sought.length < 4 || length < 4)
            return {0, 0};
        return {prefix_of(chars_of(read_anew(sought.record)), sought.length),
                prefix_of(chars_of(key), length)};
    }
    [[gnu::always_inline]] static Outcome tie(const Sought &sought, const void *key) {
        return compare(sought, key);
    }

  private:
    static const char *chars_of(const void *record) {
        return read<const char *>(static_cast<const char *>(record) +
                                  offsetof(ZOEAVLVaryingKey, chars));
    }
    static std::uint32_t length_of(const void *record) {
        return read<std::uint32_t>(static_cast<const char *>(record) +
                                   offsetof(ZOEAVLVaryingKey, length));
    }
};

} // namespace zoe::inline v2::engine

#endif
