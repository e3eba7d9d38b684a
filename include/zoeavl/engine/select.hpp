/* One turn of a search among integers: one comparison whose flags serve both tests, whether the
 * integers are equal and on which side the search goes on. */
#ifndef ZOEAVL_ENGINE_SELECT_HPP
#define ZOEAVL_ENGINE_SELECT_HPP

#include <concepts>
#include <cstdint>
#include <type_traits>

/* Defined by whoever wants the portable form; by itself where the other can't be had, or where the
 * memory sanitizer has to see what is compared. */
#if !defined(ZOEAVL_PORTABLE_SELECT) && !(defined(__GNUC__) && defined(__x86_64__))
#    define ZOEAVL_PORTABLE_SELECT
#endif
#if !defined(ZOEAVL_PORTABLE_SELECT) &&                                                            \
    (defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__))
#    define ZOEAVL_PORTABLE_SELECT
#endif
#if !defined(ZOEAVL_PORTABLE_SELECT) && defined(__has_feature)
#    if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer) ||                     \
        __has_feature(thread_sanitizer)
#        define ZOEAVL_PORTABLE_SELECT
#    endif
#endif

namespace zoe::inline v2::engine {

template <class Type>
concept SelectableInteger = std::integral<Type> && requires {
    requires sizeof(Type) >= 4;
};

/* Each gives true, and leaves the words as they are, if the integers are equal; else the words
 * become what stands beside them where the sought integer is the greater one, without a branch. */
struct PortableSelect {
    template <SelectableInteger Integer>
    [[gnu::always_inline]] static bool equal(Integer sought, Integer key, std::uintptr_t &word,
                                             std::uintptr_t if_above) {
        if (sought == key)
            return true;
        word = sought > key ? if_above : word;
        return false;
    }
    template <SelectableInteger Integer>
    [[gnu::always_inline]] static bool equal(Integer sought, Integer key, std::uintptr_t &word,
                                             std::uintptr_t if_above, std::uintptr_t &other,
                                             std::uintptr_t other_if_above) {
        other = sought > key ? other_if_above : other;
        return equal(sought, key, word, if_above);
    }
};

#ifdef ZOEAVL_PORTABLE_SELECT
using Select = PortableSelect;
#else
/* On registers alone, so that every read of memory stays where compilers and sanitizers see it. The
 * words are copied, since a compiler of today fails where they are part of something larger. */
struct Select {
#    define ZOEAVL_COMPARE "cmp\t{%[key], %[sought]|%[sought], %[key]}\n\tje\t%l[same]"
#    define ZOEAVL_CHOOSE(above, n)                                                                \
        "\n\tcmov" above "\t{%[above" n "], %[word" n "]|%[word" n "], %[above" n "]}"

    template <SelectableInteger Integer>
    [[gnu::always_inline]] static bool equal(Integer sought, Integer key, std::uintptr_t &word,
                                             std::uintptr_t if_above) {
        std::uintptr_t word1 = word;
#    define ZOEAVL_SELECT(above)                                                                   \
        asm goto(ZOEAVL_COMPARE ZOEAVL_CHOOSE(above, "1")                                          \
                 : [word1] "+r"(word1)                                                             \
                 : [sought] "r"(sought), [key] "r"(key), [above1] "r"(if_above)                    \
                 : "cc"                                                                            \
                 : same)
        if constexpr (std::is_signed_v<Integer>)
            ZOEAVL_SELECT("g");
        else
            ZOEAVL_SELECT("a");
#    undef ZOEAVL_SELECT
        word = word1;
        return false;
    same:
        return true;
    }

    template <SelectableInteger Integer>
    [[gnu::always_inline]] static bool equal(Integer sought, Integer key, std::uintptr_t &word,
                                             std::uintptr_t if_above, std::uintptr_t &other,
                                             std::uintptr_t other_if_above) {
        std::uintptr_t word1 = word;
        std::uintptr_t word2 = other;
#    define ZOEAVL_SELECT(above)                                                                   \
        asm goto(ZOEAVL_COMPARE ZOEAVL_CHOOSE(above, "1") ZOEAVL_CHOOSE(above, "2")                \
                 : [word1] "+r"(word1), [word2] "+r"(word2)                                        \
                 : [sought] "r"(sought), [key] "r"(key), [above1] "r"(if_above),                   \
                   [above2] "r"(other_if_above)                                                    \
                 : "cc"                                                                            \
                 : same)
        if constexpr (std::is_signed_v<Integer>)
            ZOEAVL_SELECT("g");
        else
            ZOEAVL_SELECT("a");
#    undef ZOEAVL_SELECT
        word = word1;
        other = word2;
        return false;
    same:
        return true;
    }

#    undef ZOEAVL_COMPARE
#    undef ZOEAVL_CHOOSE
};
#endif

} // namespace zoe::inline v2::engine

#endif
