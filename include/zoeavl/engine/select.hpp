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
    requires sizeof(Type) == 4 || sizeof(Type) == 8;
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
/* On registers alone, so that every read of memory stays where compilers and sanitizers see it. */
struct Select {
#    define ZOEAVL_COMPARE "cmp\t{%[key], %[sought]|%[sought], %[key]}"
#    define ZOEAVL_CHOOSE(above, word)                                                             \
        "\n\tcmov" above "\t{%[" word "_if_above], %[" word "]|%[" word "], %[" word "_if_above]}"

    template <SelectableInteger Integer>
    [[gnu::always_inline]] static bool equal(Integer sought, Integer key, std::uintptr_t &word,
                                             std::uintptr_t if_above) {
        bool same;
#    define ZOEAVL_SELECT(above)                                                                   \
        asm(ZOEAVL_COMPARE ZOEAVL_CHOOSE(above, "word")                                            \
            : [word] "+r"(word), "=@ccz"(same)                                                     \
            : [sought] "r"(sought), [key] "r"(key), [word_if_above] "r"(if_above))
        if constexpr (std::is_signed_v<Integer>)
            ZOEAVL_SELECT("g");
        else
            ZOEAVL_SELECT("a");
#    undef ZOEAVL_SELECT
        return same;
    }

    template <SelectableInteger Integer>
    [[gnu::always_inline]] static bool equal(Integer sought, Integer key, std::uintptr_t &word,
                                             std::uintptr_t if_above, std::uintptr_t &other,
                                             std::uintptr_t other_if_above) {
        bool same;
#    define ZOEAVL_SELECT(above)                                                                   \
        asm(ZOEAVL_COMPARE ZOEAVL_CHOOSE(above, "word") ZOEAVL_CHOOSE(above, "other")              \
            : [word] "+&r"(word), [other] "+r"(other), "=@ccz"(same)                               \
            : [sought] "r"(sought), [key] "r"(key), [word_if_above] "r"(if_above),                 \
              [other_if_above] "r"(other_if_above))
        if constexpr (std::is_signed_v<Integer>)
            ZOEAVL_SELECT("g");
        else
            ZOEAVL_SELECT("a");
#    undef ZOEAVL_SELECT
        return same;
    }

#    undef ZOEAVL_COMPARE
#    undef ZOEAVL_CHOOSE
};
#endif

} // namespace zoe::inline v2::engine

#endif
